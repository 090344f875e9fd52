// The sink of a second start.
#pragma once

#include <cstdint>
#include <utility>

#include "foundation/handle.h"
#include "ipc/transport/pipe_connect_callback.h"

// Waits for the host's "1".
class CPipeClientCallback2 final : public IPipeConnectCallback {
  public:
    // hReplyEvent is signalled when the host has taken the message; it may be empty.
    explicit CPipeClientCallback2(CKernelHandle hReplyEvent) : m_hReplyEvent(std::move(hReplyEvent)) {}

    HANDLE ReplyEvent() const { return m_hReplyEvent.get(); }

    void Connected() override;
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override;
    void Lost() override;

  private:
    const CKernelHandle m_hReplyEvent;
};
