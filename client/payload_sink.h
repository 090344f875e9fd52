// Takes payloads off the frame cutter as texts of their own.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "ipc/transport/pipe_connect_callback.h"

class CPayloadSink final : public IPipeConnectCallback {
  public:
    explicit CPayloadSink(std::function<void(std::string)> take) : m_take(std::move(take)) {}

    void Connected() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        if (length >= 0) {
            m_take(std::string(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length)));
        }
        return 0;
    }
    void Lost() override {}

  private:
    std::function<void(std::string)> m_take;
};
