// What a pipe connection reports.
#pragma once

#include <cstdint>

// The sink of a connection's events. Every call comes on the connection's worker thread, one at a time.
class IPipeConnectCallback {
  public:
    // A connection is up. Server side only: a client knows from its own call that it is connected.
    virtual void Connected() = 0;
    // One frame's payload. A zero byte follows it for the length of the call, so it can be read as text. The
    // result is not looked at. length is negative for a frame of more than 2 GiB, and data is then empty.
    virtual std::uint32_t Received(const unsigned char* data, std::int32_t length) = 0;
    // The connection is gone and its context freed.
    virtual void Lost() = 0;

  protected:
    ~IPipeConnectCallback() = default;
};
