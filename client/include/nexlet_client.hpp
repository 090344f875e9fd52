// nexlet_client.hpp: nexlet_client.h for C++17 and later. It only adds owners and strings to the C functions, whose
// comments are valid here too. A failure is a result; this header throws no exception of its own.
#pragma once

#if __cplusplus < 201703L && (!defined(_MSVC_LANG) || _MSVC_LANG < 201703L)
#error "nexlet_client.hpp needs C++17 or later; nexlet_client.h does not"
#endif

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "nexlet_client.h"

namespace nexlet {

// What a function gave: its result and, with NEXLET_OK, its value.
template <typename Value>
struct Answer {
    nexlet_result result = NEXLET_OK;  // of the C function
    Value value{};                     // what it wrote; the default value when it failed
    std::string reason{};              // what nexlet_last_error_text told of the failure; empty with NEXLET_OK

    // Whether the result is NEXLET_OK.
    explicit operator bool() const { return result == NEXLET_OK; }
    // One sentence about the result, for people.
    const char* Text() const { return nexlet_result_text(result); }
};

// What the function that has just given this result has to say.
inline std::string ReasonOf(nexlet_result result) {
    return result == NEXLET_OK ? std::string() : std::string(nexlet_last_error_text());
}

// The device identity pair, see nexlet_identity.
struct Identity {
    std::string q32;  // the first of the pair
    std::string q36;  // the second
};

// A received frame, see nexlet_wait_frame.
struct Frame {
    std::int32_t type = 0;  // 0 for a payload that is not an envelope
    std::string payload;    // its bytes
};

// The outcome of a request of nexlet_begin.
struct Outcome {
    nexlet_result result = NEXLET_OK;  // as the function that waits would have given it
    std::string word;                  // the result word or the envelope; empty for none
    std::string reply;                 // the reply's content; empty when it failed
    std::string reason;                // why it failed; empty with NEXLET_OK

    // Whether the result is NEXLET_OK.
    explicit operator bool() const { return result == NEXLET_OK; }
};

// Owns the handle of a request of nexlet_begin. Move-only; one thread at a time. The destructor cancels a request that has
// not ended.
class Request {
  public:
    // Owns nothing.
    Request() = default;
    // Owns a handle of nexlet_begin.
    explicit Request(nexlet_request handle) : m_handle(handle) {}
    // Takes the handle over.
    Request(Request&& other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    // Closes its own and takes the other's over.
    Request& operator=(Request&& other) noexcept {
        if (this != &other) {
            Reset(std::exchange(other.m_handle, 0));
        }
        return *this;
    }
    // nexlet_request_close.
    ~Request() { Reset(0); }

    // 0 when it owns none.
    nexlet_request Handle() const { return m_handle; }
    // Whether it owns one.
    explicit operator bool() const { return m_handle != 0; }

    // See nexlet_cancel.
    nexlet_result Cancel() { return nexlet_cancel(m_handle); }
    // NEXLET_PENDING when it is still under way after the wait.
    Answer<Outcome> Result(std::uint32_t timeoutMs) const {
        char* word = nullptr;
        char* reply = nullptr;
        Answer<Outcome> answer;
        answer.result = nexlet_request_result(m_handle, timeoutMs, &word, &reply);
        answer.reason = ReasonOf(answer.result);
        answer.value.result = answer.result;
        answer.value.reason = answer.reason;
        answer.value.word = word != nullptr ? word : "";
        answer.value.reply = reply != nullptr ? reply : "";
        nexlet_free(word);
        nexlet_free(reply);
        return answer;
    }
    // A HANDLE for the waits of the system, signalled at the end; null when there is none.
    void* Event() const {
        void* event = nullptr;
        nexlet_request_handle(m_handle, &event);
        return event;
    }

  private:
    void Reset(nexlet_request handle) noexcept {
        const nexlet_request old = std::exchange(m_handle, handle);
        if (old != 0) {
            nexlet_request_close(old);
        }
    }

    nexlet_request m_handle = 0;
};

// Called on threads of the library or of the sender; see nexlet_options. They exist until the last call of any of them has
// returned, also when the client is closed or destroyed before.
struct Callbacks {
    // Called when the helper's connection is lost, see nexlet_options::on_gone.
    std::function<void()> onGone;
    // Called with each frame that passes, see nexlet_options::on_frame. The view is valid until it returns.
    std::function<void(std::int32_t direction, std::string_view payload)> onFrame;
    // Told of an exception that left one of the others, with its what(), on the same thread. What it throws itself is
    // dropped.
    std::function<void(const char* what)> onError{};
    // See nexlet_options.
    std::function<void(std::int32_t level, std::string_view text)> onDiagnostic{};
    std::int32_t diagnosticLevel = NEXLET_LEVEL_WARNING;  // likewise
};

// nexlet_host_send: the payload that the host of the mark sends back, empty when no answer is wanted.
inline Answer<std::string> HostSend(const std::string& mark, std::string_view payload, std::uint32_t timeoutMs,
                                    bool answered = true) {
    char* text = nullptr;
    Answer<std::string> answer;
    answer.result = nexlet_host_send(mark.c_str(), payload.data(), payload.size(), timeoutMs, answered ? &text : nullptr);
    answer.reason = ReasonOf(answer.result);
    if (text != nullptr) {
        answer.value = text;
        nexlet_free(text);
    }
    return answer;
}

// Owns one client. Move-only. Moving, assigning and destroying on one thread at a time; everything else on any, Open
// and Close at the same time included: whichever comes last holds.
//
// Inside a callback of the client itself Close and Open give NEXLET_WRONG_THREAD and change nothing. The destructor and
// an assignment, which have no result to give, may run there: they end the connection, and a thread of its own frees
// the client once the callback has returned.
class Client {
  public:
    // The name of nexlet::Callbacks in version 1.
    using Callbacks = nexlet::Callbacks;

    // No client until Open.
    Client() = default;
    // Takes over the other's client.
    Client(Client&& other) noexcept : m_open(other.Take()) {}
    // Closes this client and takes over the other's.
    Client& operator=(Client&& other) noexcept {
        if (this != &other) {
            Opened open = other.Take();
            Drop(Take());
            const std::lock_guard<std::mutex> lock(m_lock);
            m_open = std::move(open);
        }
        return *this;
    }
    // Closes the client.
    ~Client() { Drop(Take()); }

    // The handle for the C functions; 0 when none is open.
    nexlet_client Handle() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_open.handle;
    }
    // Whether a client is open.
    explicit operator bool() const { return Handle() != 0; }

    // Serves the pipe of this mark and service id. A client that was open is closed first.
    nexlet_result Open(const std::string& mark, const std::string& serviceId, Callbacks callbacks = {}) {
        return OpenAs(mark, serviceId.c_str(), std::move(callbacks));
    }
    // The same with a service id of its own, see ServiceId.
    nexlet_result Open(const std::string& mark, Callbacks callbacks = {}) {
        return OpenAs(mark, nullptr, std::move(callbacks));
    }
    // See nexlet_close. NEXLET_OK also when none was open.
    nexlet_result Close() {
        if (nexlet_in_callback(Handle()) != 0) {
            return NEXLET_WRONG_THREAD;
        }
        Drop(Take());
        return NEXLET_OK;
    }
    // See nexlet_shutdown.
    nexlet_result Shutdown() { return nexlet_shutdown(Handle()); }

    // See nexlet_service_id; empty when none is open.
    std::string ServiceId() const {
        char* text = nullptr;
        nexlet_service_id(Handle(), &text);
        return Text(text);
    }

    // See nexlet_start. options.struct_size is set here.
    nexlet_result Start(nexlet_start_options options, std::uint32_t timeoutMs) {
        options.struct_size = sizeof options;
        return nexlet_start(Handle(), &options, timeoutMs);
    }
    // See nexlet_start, with NULL for the options.
    nexlet_result Start(std::uint32_t timeoutMs) { return nexlet_start(Handle(), nullptr, timeoutMs); }
    // See nexlet_wait_connected.
    nexlet_result WaitConnected(std::uint32_t timeoutMs) { return nexlet_wait_connected(Handle(), timeoutMs); }
    // See nexlet_wait_lost.
    nexlet_result WaitLost(std::uint32_t timeoutMs) { return nexlet_wait_lost(Handle(), timeoutMs); }
    // See nexlet_wait_process_end; the value is the exit code.
    Answer<std::uint32_t> WaitProcessEnd(std::uint32_t timeoutMs) {
        Answer<std::uint32_t> answer;
        answer.result = nexlet_wait_process_end(Handle(), timeoutMs, &answer.value);
        answer.reason = ReasonOf(answer.result);
        return answer;
    }
    // See nexlet_exit. The value says whether the process has ended too.
    Answer<bool> Exit(std::uint32_t timeoutMs) {
        std::int32_t ended = 0;
        const nexlet_result result = nexlet_exit(Handle(), timeoutMs, &ended);
        return {result, ended != 0, ReasonOf(result)};
    }
    // See nexlet_helper_process; all members 0 when none is open.
    nexlet_helper Helper() const {
        nexlet_helper helper = {};
        helper.struct_size = sizeof helper;
        nexlet_helper_process(Handle(), &helper);
        return helper;
    }

    // See nexlet_status.
    Answer<nexlet_app_status> Status(std::uint32_t timeoutMs) {
        Answer<nexlet_app_status> answer;
        answer.value.struct_size = sizeof answer.value;
        answer.result = nexlet_status(Handle(), timeoutMs, &answer.value);
        answer.reason = ReasonOf(answer.result);
        return answer;
    }
    // See nexlet_status_encrypted.
    Answer<std::string> StatusEncrypted(std::uint32_t timeoutMs) {
        return Ask([&](char** text) { return nexlet_status_encrypted(Handle(), timeoutMs, text); });
    }
    // See nexlet_identity.
    Answer<nexlet::Identity> Identity(std::uint32_t timeoutMs) {
        char* q32 = nullptr;
        char* q36 = nullptr;
        const nexlet_result result = nexlet_identity(Handle(), timeoutMs, &q32, &q36);
        return {result, {Text(q32), Text(q36)}, ReasonOf(result)};
    }
    // See nexlet_encrypt.
    Answer<std::string> Encrypt(const std::string& clear, std::uint32_t timeoutMs) {
        return Ask([&](char** text) { return nexlet_encrypt(Handle(), clear.c_str(), timeoutMs, text); });
    }
    // See nexlet_open_target.
    Answer<std::string> OpenTarget(const std::string& openJson, std::uint32_t timeoutMs) {
        return Ask([&](char** text) { return nexlet_open_target(Handle(), openJson.c_str(), timeoutMs, text); });
    }
    // See nexlet_poll_target.
    Answer<std::string> PollTarget(const std::string& questionJson, std::uint32_t timeoutMs) {
        return Ask([&](char** text) { return nexlet_poll_target(Handle(), questionJson.c_str(), timeoutMs, text); });
    }
    // See nexlet_await_target.
    Answer<std::string> AwaitTarget(const std::string& questionJson, std::uint32_t intervalMs,
                                    std::uint32_t timeoutMs) {
        return Ask([&](char** text) {
            return nexlet_await_target(Handle(), questionJson.c_str(), intervalMs, timeoutMs, text);
        });
    }
    // See nexlet_open_app. The sizes of these records are set here.
    Answer<std::string> OpenApp(nexlet_app app, std::uint32_t timeoutMs) {
        app.struct_size = sizeof app;
        return Ask([&](char** text) { return nexlet_open_app(Handle(), &app, timeoutMs, text); });
    }
    // See nexlet_poll_app.
    Answer<std::string> PollApp(nexlet_app_question question, std::uint32_t timeoutMs) {
        question.struct_size = sizeof question;
        return Ask([&](char** text) { return nexlet_poll_app(Handle(), &question, timeoutMs, text); });
    }
    // See nexlet_await_app.
    Answer<std::string> AwaitApp(nexlet_app_question question, std::uint32_t intervalMs, std::uint32_t timeoutMs) {
        question.struct_size = sizeof question;
        return Ask([&](char** text) { return nexlet_await_app(Handle(), &question, intervalMs, timeoutMs, text); });
    }
    // See nexlet_watch_app.
    nexlet_result WatchApp(nexlet_app_question question, std::uint32_t timeoutMs) {
        question.struct_size = sizeof question;
        return nexlet_watch_app(Handle(), &question, timeoutMs);
    }
    // See nexlet_watch_target.
    nexlet_result WatchTarget(const std::string& questionJson, std::uint32_t timeoutMs) {
        return nexlet_watch_target(Handle(), questionJson.c_str(), timeoutMs);
    }
    // See nexlet_call.
    Answer<std::string> Call(std::int32_t type, const std::string& contentJson, std::uint32_t timeoutMs) {
        return Ask([&](char** text) { return nexlet_call(Handle(), type, contentJson.c_str(), timeoutMs, text); });
    }

    // What is called with the end of a request, on a thread of the library.
    using Done = std::function<void(const Outcome& outcome)>;

    // Requests that do not wait, see nexlet_begin. done, when there is one, is called once with the end; what it
    // throws is dropped. request, when not null, becomes the owner of the handle.
    nexlet_result Begin(std::int32_t type, const std::string& contentJson, std::uint32_t timeoutMs, Done done,
                        Request* request = nullptr) {
        return BeginAs(timeoutMs, std::move(done), request, [&](const nexlet_request_options& options,
                                                                nexlet_request* handle) {
            return nexlet_begin(Handle(), type, contentJson.c_str(), &options, handle);
        });
    }
    // The same for nexlet_begin_open.
    nexlet_result BeginOpen(const std::string& openJson, std::uint32_t timeoutMs, Done done,
                            Request* request = nullptr) {
        return BeginAs(timeoutMs, std::move(done), request, [&](const nexlet_request_options& options,
                                                                nexlet_request* handle) {
            return nexlet_begin_open(Handle(), openJson.c_str(), &options, handle);
        });
    }
    // The same for nexlet_begin_poll.
    nexlet_result BeginPoll(const std::string& questionJson, std::uint32_t timeoutMs, Done done,
                            Request* request = nullptr) {
        return BeginAs(timeoutMs, std::move(done), request, [&](const nexlet_request_options& options,
                                                                nexlet_request* handle) {
            return nexlet_begin_poll(Handle(), questionJson.c_str(), &options, handle);
        });
    }

    // The same for nexlet_begin_open_app and nexlet_begin_poll_app.
    nexlet_result BeginOpenApp(nexlet_app app, std::uint32_t timeoutMs, Done done, Request* request = nullptr) {
        app.struct_size = sizeof app;
        return BeginAs(timeoutMs, std::move(done), request,
                       [&](const nexlet_request_options& options, nexlet_request* handle) {
                           return nexlet_begin_open_app(Handle(), &app, &options, handle);
                       });
    }
    // See BeginOpenApp.
    nexlet_result BeginPollApp(nexlet_app_question question, std::uint32_t timeoutMs, Done done,
                               Request* request = nullptr) {
        question.struct_size = sizeof question;
        return BeginAs(timeoutMs, std::move(done), request,
                       [&](const nexlet_request_options& options, nexlet_request* handle) {
                           return nexlet_begin_poll_app(Handle(), &question, &options, handle);
                       });
    }

    // See nexlet_send.
    nexlet_result Send(std::int32_t type, const std::string& contentJson, std::uint32_t timeoutMs) {
        return nexlet_send(Handle(), type, contentJson.c_str(), timeoutMs);
    }
    // See nexlet_send_payload.
    nexlet_result SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
        return nexlet_send_payload(Handle(), payload.data(), payload.size(), timeoutMs);
    }
    // See nexlet_wait_frame.
    Answer<Frame> WaitFrame(std::int32_t type, std::uint32_t timeoutMs) {
        char* text = nullptr;
        std::size_t size = 0;
        Answer<Frame> answer;
        answer.result = nexlet_wait_frame(Handle(), type, timeoutMs, &answer.value.type, &text, &size);
        answer.reason = ReasonOf(answer.result);
        if (text != nullptr) {
            answer.value.payload.assign(text, size);
            nexlet_free(text);
        }
        return answer;
    }

  private:
    // A handle and what its callbacks stand on, whose place is known to the library.
    struct Opened {
        nexlet_client handle = 0;
        std::unique_ptr<Callbacks> callbacks;
    };

    Opened Take() noexcept {
        const std::lock_guard<std::mutex> lock(m_lock);
        return {std::exchange(m_open.handle, 0), std::move(m_open.callbacks)};
    }
    // Closes, which waits for the callbacks, and frees what they stand on.
    static void Drop(Opened open) noexcept {
        if (open.handle == 0 || nexlet_close(open.handle) != NEXLET_WRONG_THREAD) {
            return;
        }
        // Inside a callback. It returns, and then the thread frees what it stood on.
        nexlet_shutdown(open.handle);
        auto* const left = new (std::nothrow) Opened(std::move(open));
        if (left == nullptr) {
            return;
        }
        try {
            std::thread([left] {
                nexlet_close(left->handle);
                delete left;
            }).detach();
        } catch (const std::exception&) {
            // Without a thread the client stays shut down and is not freed.
        }
    }

    nexlet_result OpenAs(const std::string& mark, const char* serviceId, Callbacks callbacks) {
        const nexlet_result closed = Close();
        if (closed == NEXLET_WRONG_THREAD) {
            return closed;
        }
        Opened open;
        open.callbacks = std::make_unique<Callbacks>(std::move(callbacks));
        nexlet_options options = {};
        options.struct_size = sizeof options;
        options.mark = mark.c_str();
        options.service_id = serviceId;
        options.context = open.callbacks.get();
        if (open.callbacks->onGone) {
            options.on_gone = [](void* context, nexlet_client) {
                const Callbacks& all = *static_cast<Callbacks*>(context);
                Run(all, [&] { all.onGone(); });
            };
        }
        if (open.callbacks->onFrame) {
            options.on_frame = [](void* context, nexlet_client, std::int32_t direction, const char* payload,
                                  std::size_t size) {
                const Callbacks& all = *static_cast<Callbacks*>(context);
                Run(all, [&] { all.onFrame(direction, std::string_view(payload, size)); });
            };
        }
        if (open.callbacks->onDiagnostic) {
            options.diagnostic_level = open.callbacks->diagnosticLevel;
            options.on_diagnostic = [](void* context, nexlet_client, std::int32_t level, const char* text) {
                const Callbacks& all = *static_cast<Callbacks*>(context);
                Run(all, [&] { all.onDiagnostic(level, text); });
            };
        }
        const nexlet_result result = nexlet_open(&options, &open.handle);
        if (result == NEXLET_OK) {
            {
                const std::lock_guard<std::mutex> lock(m_lock);
                std::swap(m_open, open);
            }
            // Whatever another thread opened meanwhile.
            Drop(std::move(open));
        }
        return result;
    }

    // begin is handed the options and the place of the handle.
    template <typename BeginOne>
    static nexlet_result BeginAs(std::uint32_t timeoutMs, Done done, Request* request, BeginOne begin) {
        // Freed by the one call of on_done, or here when there will be none.
        std::unique_ptr<Done> kept = std::make_unique<Done>(std::move(done));
        nexlet_request_options options = {};
        options.struct_size = sizeof options;
        options.timeout_ms = timeoutMs;
        options.context = kept.get();
        options.on_done = [](void* context, nexlet_client, nexlet_request, const nexlet_outcome* outcome) {
            const std::unique_ptr<Done> own(static_cast<Done*>(context));
            try {
                if (*own) {
                    (*own)({outcome->result, outcome->word, outcome->reply_json, outcome->error_text});
                }
            } catch (...) {
                // Nothing may be thrown through the library.
            }
        };
        nexlet_request handle = 0;
        const nexlet_result result = begin(options, request != nullptr ? &handle : nullptr);
        if (result == NEXLET_OK) {
            static_cast<void>(kept.release());
            if (request != nullptr) {
                *request = Request(handle);
            }
        }
        return result;
    }

    // Nothing may be thrown through the library.
    template <typename Work>
    static void Run(const Callbacks& all, Work work) noexcept {
        try {
            work();
        } catch (const std::exception& error) {
            Tell(all, error.what());
        } catch (...) {
            Tell(all, "an exception that is no std::exception");
        }
    }
    static void Tell(const Callbacks& all, const char* what) noexcept {
        try {
            if (all.onError) {
                all.onError(what);
            }
        } catch (...) {
        }
    }

    static std::string Text(char* text) {
        std::string copy = text != nullptr ? text : "";
        nexlet_free(text);
        return copy;
    }
    // question writes a text to the place that it is given, and returns a result.
    template <typename Question>
    static Answer<std::string> Ask(Question question) {
        char* text = nullptr;
        const nexlet_result result = question(&text);
        return {result, Text(text), ReasonOf(result)};
    }

    mutable std::mutex m_lock;  // guards what follows; never held over a call of the library that waits
    Opened m_open;
};

}  // namespace nexlet

// The names of version 1, for one more version.
template <typename Value>
using NexletAnswer = nexlet::Answer<Value>;
using NexletIdentity = nexlet::Identity;  // of version 1
using NexletFrame = nexlet::Frame;        // of version 1
using CNexletClient = nexlet::Client;     // of version 1
