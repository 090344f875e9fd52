// The sinks that turn frames into calls: of an instance's pipe, and of the host's own pipe.
#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "ipc/protocol/message_receiver.h"
#include "ipc/transport/pipe_connect_callback.h"
#include "ipc/transport/request_owner.h"

// Reads requests from a caller and hands them to the owner of the client.
class CPipeClientCallback final : public IPipeConnectCallback {
  public:
    // Set before the client's worker is started. The sink does not keep the client.
    void SetClient(std::weak_ptr<const IRequestOwner> pClient) { m_pClient = std::move(pClient); }

    void Connected() override;
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override;
    void Lost() override;

    // One payload, up to its first NUL. 1 when a handler was called, 0 when the message was refused, which is a log
    // line and nothing on the wire.
    std::uint32_t ReceiveIPCMessage(const unsigned char* data, std::int32_t length);

  private:
    std::weak_ptr<const IRequestOwner> m_pClient;
};

// Hands what second starts send to the host.
class CPipeServerCallback final : public IPipeConnectCallback {
  public:
    // pReceiver outlives the server's worker.
    explicit CPipeServerCallback(IMessageReceiver* pReceiver) : m_pReceiver(pReceiver) {}

    void Connected() override;
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override;
    void Lost() override;

  private:
    IMessageReceiver* const m_pReceiver;  // weak
};
