// Every call of nexlet_client.h that takes a client and a limit, for tests of what all of them have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "client/include/nexlet_client.h"

struct ClientCall {
    enum class Kind {
        Request,  // is sent to the helper and waits for its reply
        Notice,   // is sent to the helper and done once it was read; it is long for that reason
        Wait,     // sends nothing
    };
    const char* pszName;
    Kind kind;
    std::function<nexlet_result(nexlet_client client, std::uint32_t timeoutMs)> call;
};

namespace client_calls_detail {

// For the calls that give a text.
template <typename Ask>
nexlet_result WithText(Ask ask) {
    char* text = nullptr;
    const nexlet_result result = ask(&text);
    nexlet_free(text);
    return result;
}

inline constexpr char kOpen[] = R"({"type":"miniApp","from":"x","taskId":"t","appId":"a","appPath":"p"})";
inline constexpr char kQuestion[] = R"({"type":"miniApp","from":"x","taskId":"t","interval":0})";

// So long that the read that a stopped helper had begun does not take all of it.
inline std::string Padded(const char* json) {
    return R"({"padding":")" + std::string(8192, 'x') + "\"," + (json + 1);
}

}  // namespace client_calls_detail

inline std::vector<ClientCall> AllClientCalls() {
    using namespace client_calls_detail;
    using Kind = ClientCall::Kind;
    return {
        {"nexlet_status", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             nexlet_app_status status = {};
             status.struct_size = sizeof status;
             return nexlet_status(client, ms, &status);
         }},
        {"nexlet_status_encrypted", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_status_encrypted(client, ms, text); });
         }},
        {"nexlet_identity", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** q32) {
                 return WithText([&](char** q36) { return nexlet_identity(client, ms, q32, q36); });
             });
         }},
        {"nexlet_encrypt", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_encrypt(client, "x", ms, text); });
         }},
        {"nexlet_open_target", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_open_target(client, kOpen, ms, text); });
         }},
        {"nexlet_poll_target", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_poll_target(client, kQuestion, ms, text); });
         }},
        {"nexlet_await_target", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_await_target(client, kQuestion, 10, ms, text); });
         }},
        {"nexlet_call", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_call(client, NEXLET_TYPE_POLL, "{}", ms, text); });
         }},
        {"nexlet_exit", Kind::Request,
         [](nexlet_client client, std::uint32_t ms) { return nexlet_exit(client, ms, nullptr); }},
        {"nexlet_watch_target", Kind::Notice,
         [](nexlet_client client, std::uint32_t ms) {
             return nexlet_watch_target(client, Padded(kQuestion).c_str(), ms);
         }},
        {"nexlet_send", Kind::Notice,
         [](nexlet_client client, std::uint32_t ms) {
             return nexlet_send(client, NEXLET_TYPE_POLL, Padded(kQuestion).c_str(), ms);
         }},
        {"nexlet_send_payload", Kind::Notice,
         [](nexlet_client client, std::uint32_t ms) {
             const std::string payload = Padded(kQuestion);
             return nexlet_send_payload(client, payload.data(), payload.size(), ms);
         }},
        {"nexlet_wait_frame", Kind::Wait,
         [](nexlet_client client, std::uint32_t ms) {
             return WithText([&](char** text) { return nexlet_wait_frame(client, 99, ms, nullptr, text, nullptr); });
         }},
    };
}
