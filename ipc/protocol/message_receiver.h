// What the host's own pipe calls when a frame arrives. Implemented by the host.
#pragma once

class IMessageReceiver {
  public:
    // One frame's payload, readable as zero-terminated text. Returns 1 when a message was dispatched, else 0. Called on
    // the server's worker thread.
    virtual int ReceiveIPCMessage(const unsigned char* data, int length) = 0;

  protected:
    ~IMessageReceiver() = default;
};
