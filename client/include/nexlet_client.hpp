// nexlet_client.hpp: nexlet_client.h for C++17 and later. Nothing but owners and strings around the C functions, whose
// comments hold here too. A failure is a result, never an exception of this header's own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "nexlet_client.h"

// What a function gave: its result and, with NEXLET_OK, its value.
template <typename Value>
struct NexletAnswer {
    nexlet_result result = NEXLET_OK;
    Value value{};

    explicit operator bool() const { return result == NEXLET_OK; }
    const char* Text() const { return nexlet_result_text(result); }
};

struct NexletIdentity {
    std::string q32;
    std::string q36;
};

struct NexletFrame {
    std::int32_t type = 0;
    std::string payload;
};

// Owns one client. Move-only; moving and assigning on one thread at a time, everything else on any.
class CNexletClient {
  public:
    struct Callbacks {
        std::function<void()> onGone;
        std::function<void(std::int32_t direction, std::string_view payload)> onFrame;
    };

    CNexletClient() = default;
    CNexletClient(CNexletClient&& other) noexcept
        : m_client(std::exchange(other.m_client, 0)), m_callbacks(std::move(other.m_callbacks)) {}
    CNexletClient& operator=(CNexletClient&& other) noexcept {
        if (this != &other) {
            Close();
            m_client = std::exchange(other.m_client, 0);
            m_callbacks = std::move(other.m_callbacks);
        }
        return *this;
    }
    ~CNexletClient() { Close(); }

    nexlet_client Handle() const { return m_client; }
    explicit operator bool() const { return m_client != 0; }

    // Serves the pipe of this mark and service id. A client that was open is closed first.
    nexlet_result Open(const std::string& mark, const std::string& serviceId, Callbacks callbacks = {}) {
        Close();
        m_callbacks = std::make_unique<Callbacks>(std::move(callbacks));
        nexlet_options options = {};
        options.struct_size = sizeof options;
        options.mark = mark.c_str();
        options.service_id = serviceId.c_str();
        options.context = m_callbacks.get();
        if (m_callbacks->onGone) {
            options.on_gone = [](void* context, nexlet_client) { static_cast<Callbacks*>(context)->onGone(); };
        }
        if (m_callbacks->onFrame) {
            options.on_frame = [](void* context, nexlet_client, std::int32_t direction, const char* payload,
                                  std::size_t size) {
                static_cast<Callbacks*>(context)->onFrame(direction, std::string_view(payload, size));
            };
        }
        return nexlet_open(&options, &m_client);
    }
    void Close() {
        if (m_client != 0) {
            nexlet_close(std::exchange(m_client, 0));
        }
    }
    nexlet_result Shutdown() { return nexlet_shutdown(m_client); }

    // options.struct_size is set here.
    nexlet_result Start(nexlet_start_options options, std::uint32_t timeoutMs) {
        options.struct_size = sizeof options;
        return nexlet_start(m_client, &options, timeoutMs);
    }
    nexlet_result Start(std::uint32_t timeoutMs) { return nexlet_start(m_client, nullptr, timeoutMs); }
    nexlet_result WaitConnected(std::uint32_t timeoutMs) { return nexlet_wait_connected(m_client, timeoutMs); }
    nexlet_result WaitLost(std::uint32_t timeoutMs) { return nexlet_wait_lost(m_client, timeoutMs); }
    NexletAnswer<std::uint32_t> WaitProcessEnd(std::uint32_t timeoutMs) {
        NexletAnswer<std::uint32_t> answer;
        answer.result = nexlet_wait_process_end(m_client, timeoutMs, &answer.value);
        return answer;
    }
    // Whether the process has ended too.
    NexletAnswer<bool> Exit(std::uint32_t timeoutMs) {
        std::int32_t ended = 0;
        const nexlet_result result = nexlet_exit(m_client, timeoutMs, &ended);
        return {result, ended != 0};
    }
    nexlet_helper Helper() const {
        nexlet_helper helper = {};
        helper.struct_size = sizeof helper;
        nexlet_helper_process(m_client, &helper);
        return helper;
    }

    NexletAnswer<nexlet_app_status> Status(std::uint32_t timeoutMs) {
        NexletAnswer<nexlet_app_status> answer;
        answer.value.struct_size = sizeof answer.value;
        answer.result = nexlet_status(m_client, timeoutMs, &answer.value);
        return answer;
    }
    NexletAnswer<std::string> StatusEncrypted(std::uint32_t timeoutMs) {
        return Take([&](char** text) { return nexlet_status_encrypted(m_client, timeoutMs, text); });
    }
    NexletAnswer<NexletIdentity> Identity(std::uint32_t timeoutMs) {
        char* q32 = nullptr;
        char* q36 = nullptr;
        const nexlet_result result = nexlet_identity(m_client, timeoutMs, &q32, &q36);
        return {result, {Text(q32), Text(q36)}};
    }
    NexletAnswer<std::string> Encrypt(const std::string& clear, std::uint32_t timeoutMs) {
        return Take([&](char** text) { return nexlet_encrypt(m_client, clear.c_str(), timeoutMs, text); });
    }
    NexletAnswer<std::string> OpenTarget(const std::string& openJson, std::uint32_t timeoutMs) {
        return Take([&](char** text) { return nexlet_open_target(m_client, openJson.c_str(), timeoutMs, text); });
    }
    NexletAnswer<std::string> PollTarget(const std::string& questionJson, std::uint32_t timeoutMs) {
        return Take([&](char** text) { return nexlet_poll_target(m_client, questionJson.c_str(), timeoutMs, text); });
    }
    NexletAnswer<std::string> AwaitTarget(const std::string& questionJson, std::uint32_t intervalMs,
                                          std::uint32_t timeoutMs) {
        return Take([&](char** text) {
            return nexlet_await_target(m_client, questionJson.c_str(), intervalMs, timeoutMs, text);
        });
    }
    nexlet_result WatchTarget(const std::string& questionJson, std::uint32_t timeoutMs) {
        return nexlet_watch_target(m_client, questionJson.c_str(), timeoutMs);
    }
    NexletAnswer<std::string> Call(std::int32_t type, const std::string& contentJson, std::uint32_t timeoutMs) {
        return Take([&](char** text) { return nexlet_call(m_client, type, contentJson.c_str(), timeoutMs, text); });
    }

    nexlet_result Send(std::int32_t type, const std::string& contentJson, std::uint32_t timeoutMs) {
        return nexlet_send(m_client, type, contentJson.c_str(), timeoutMs);
    }
    nexlet_result SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
        return nexlet_send_payload(m_client, payload.data(), payload.size(), timeoutMs);
    }
    NexletAnswer<NexletFrame> WaitFrame(std::int32_t type, std::uint32_t timeoutMs) {
        char* text = nullptr;
        std::size_t size = 0;
        NexletAnswer<NexletFrame> answer;
        answer.result = nexlet_wait_frame(m_client, type, timeoutMs, &answer.value.type, &text, &size);
        if (text != nullptr) {
            answer.value.payload.assign(text, size);
            nexlet_free(text);
        }
        return answer;
    }

  private:
    static std::string Text(char* text) {
        std::string copy = text != nullptr ? text : "";
        nexlet_free(text);
        return copy;
    }
    // ask writes a text to the place that it is given, and returns a result.
    template <typename Ask>
    static NexletAnswer<std::string> Take(Ask ask) {
        char* text = nullptr;
        const nexlet_result result = ask(&text);
        return {result, Text(text)};
    }

    nexlet_client m_client = 0;
    std::unique_ptr<Callbacks> m_callbacks;  // where it stands is known to the library, so it does not move with this
};
