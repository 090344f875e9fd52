// The verbs that are one request, or wait for what the helper sends.
#include <cstdint>
#include <string>
#include <string_view>

#include "foundation/json_text.h"
#include "foundation/windows_headers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/request_table.h"
#include "nexctl/runner/runner.h"
#include "nexctl/runner/runner_texts.h"

namespace {

constexpr int kForward = static_cast<int>(MessageType::S_MT_InitWxApp);

std::string MemberText(const Json::Value& content, const char* key) {
    const Json::Value* member = content.isObject() ? FindJsonMember(content, key) : nullptr;
    return member != nullptr && member->isString() ? member->asString() : std::string();
}

// How a reply says that it did not work: an open's word is neither "1" nor "Loading", an envelope or identity is empty.
bool SaysFailure(int replyType, int requestType, const Json::Value& content) {
    const std::string result = MemberText(content, "result");
    switch (static_cast<MessageType>(replyType)) {
        case MessageType::S_MT_OpenMiniAppReply:
            return result != "1" && result != "Loading";
        case MessageType::S_MT_StatusReply:
            return requestType == static_cast<int>(MessageType::S_MT_OpenMiniAppSuccessfully) && result != "1" &&
                   result != "Loading";
        case MessageType::S_MT_StatusEncryptReply:
        case MessageType::S_MT_RSAEncryptReply:
            return result.empty();
        case MessageType::S_MT_QIMEIReply:
            return MemberText(content, "strQ32").empty() && MemberText(content, "strQ36").empty();
        default:
            return false;
    }
}

// The sentence for such a reply.
std::string FailureWords(int requestType, const Json::Value& content) {
    const std::string word = MemberText(content, "result");
    if (requestType == NEXLET_TYPE_IDENTITY) {
        return "the helper has no device identity";
    }
    if (requestType == NEXLET_TYPE_OPEN && word == "0") {
        return "the helper answered \"0\": the SDK or the client refused the open";
    }
    if (word.empty()) {
        return "the helper could not make the envelope";
    }
    return "the helper answered \"" + word + "\": " + nexlet_word_text(word.c_str());
}

}  // namespace

ExitCode CRunner::Request(const Step& step) {
    const std::string_view verb = step.verb->name;
    Json::Value content(Json::objectValue);
    if (verb == "open") {
        return Open(step);
    }
    if (verb == "watch") {
        const nexlet_result result = m_client.WatchTarget(step.arguments[0], TimeoutOf(step));
        return result == NEXLET_OK ? Finish(step, ExitCode::Ok, Json::Value(Json::objectValue)) : Fail(step, result);
    }
    if (verb == "encrypt") {
        Json::Value inner(Json::objectValue);
        inner["text"] = step.arguments[0];
        content["p1"] = WriteJson(inner);
        return Ask(step, NEXLET_TYPE_ENCRYPT, content);
    }
    return Ask(step,
               verb == "status"             ? NEXLET_TYPE_STATUS
               : verb == "status-encrypted" ? NEXLET_TYPE_STATUS_ENCRYPTED
                                            : NEXLET_TYPE_IDENTITY,
               content);
}

// As in Poll and for a watch, the library refuses what would end the helper.
ExitCode CRunner::Open(const Step& step) {
    nexlet::Request request;
    const nexlet_result result = m_client.BeginOpen(step.arguments[0], TimeoutOf(step), {}, &request);
    if (result != NEXLET_OK) {
        return Fail(step, result);
    }
    const auto answer = request.Result(INFINITE);
    return answer ? Answered(step, NEXLET_TYPE_OPEN, Parsed(answer.value.reply)) : Fail(step, answer.result);
}

ExitCode CRunner::Ask(const Step& step, int type, const Json::Value& content) {
    const auto answer = m_client.Call(type, WriteJson(content), TimeoutOf(step));
    if (!answer) {
        return Fail(step, answer.result);
    }
    return Answered(step, type, Parsed(answer.value));
}

ExitCode CRunner::Answered(const Step& step, int type, const Json::Value& reply) {
    const int replyType = ReplyTypeOf(type);
    Json::Value line(Json::objectValue);
    line["reply"]["content"] = reply;
    line["reply"]["message_type"] = replyType;
    return Finish(step, SaysFailure(replyType, type, reply) ? ExitCode::Refused : ExitCode::Ok, std::move(line),
                  FailureWords(type, reply));
}

ExitCode CRunner::Send(const Step& step) {
    const int type = std::stoi(step.arguments[0]);
    nexlet_result result = m_client.Send(type, step.arguments[1], TimeoutOf(step));
    Json::Value line(Json::objectValue);
    const int replyType = step.expect.value_or(ReplyTypeOf(type));
    if (result == NEXLET_OK && replyType != 0) {
        const auto reply = m_client.WaitFrame(replyType, TimeoutOf(step));
        result = reply.result;
        line["reply"] = Parsed(reply.value.payload);
    }
    return result == NEXLET_OK ? Finish(step, ExitCode::Ok, std::move(line)) : Fail(step, result);
}

ExitCode CRunner::Poll(const Step& step) {
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        nexlet::Request request;
        const nexlet_result result = m_client.BeginPoll(step.arguments[0], TimeoutOf(step), {}, &request);
        if (result != NEXLET_OK) {
            return Fail(step, result);
        }
        const auto answer = request.Result(INFINITE);
        if (!answer) {
            return Fail(step, answer.result);
        }
        const Json::Value reply = Parsed(answer.value.reply);
        if (step.until.empty()) {
            return Answered(step, NEXLET_TYPE_POLL, reply);
        }
        const std::string word = MemberText(reply, "result");
        Json::Value line(Json::objectValue);
        line["reply"]["content"] = reply;
        line["reply"]["message_type"] = ReplyTypeOf(NEXLET_TYPE_POLL);
        if (word == step.until) {
            return Finish(step, ExitCode::Ok, std::move(line));
        }
        if (word != "Loading") {
            return Finish(step, ExitCode::Refused, std::move(line),
                          "the open ended with \"" + word + "\": " + nexlet_word_text(word.c_str()));
        }
        if (GetTickCount64() - startedAt >= TimeoutOf(step)) {
            return Finish(step, ExitCode::Timeout, std::move(line), "the result was \"Loading\" to the end");
        }
        Sleep(step.everyMs);
    }
}

ExitCode CRunner::Listen(const Step& step) {
    const ULONGLONG startedAt = GetTickCount64();
    const std::uint32_t timeoutMs = TimeoutOf(step);
    Json::Value line(Json::objectValue);
    for (std::uint32_t count = 0;; ++count) {
        line["frames"] = count;
        if (step.count != 0 && count == step.count) {
            return Finish(step, ExitCode::Ok, std::move(line));
        }
        const ULONGLONG passed = GetTickCount64() - startedAt;
        const nexlet_result result =
            m_client.WaitFrame(0, passed >= timeoutMs ? 0 : static_cast<std::uint32_t>(timeoutMs - passed)).result;
        if (result == NEXLET_TIMEOUT && step.count == 0) {
            return Finish(step, ExitCode::Ok, std::move(line));
        }
        if (result != NEXLET_OK) {
            return Fail(step, result, std::move(line));
        }
    }
}

ExitCode CRunner::Host(const Step& step) {
    const int type = std::stoi(step.arguments[0]);
    const std::string payload =
        WriteEnvelope(type, type == kForward ? Json::Value(step.arguments[1]) : Parsed(step.arguments[1]));
    const bool answered = step.expect.value_or(type == kForward ? 1 : 0) != 0;
    char* answer = nullptr;
    const nexlet_result result = nexlet_host_send(m_strMark.c_str(), payload.data(), payload.size(), TimeoutOf(step),
                                                  answered ? &answer : nullptr);
    const std::string acknowledgement = answer != nullptr ? answer : "";
    nexlet_free(answer);
    if (result != NEXLET_OK) {
        return Fail(step, result);
    }
    ShowFrame(FrameDirection::Sent, payload);
    Json::Value line(Json::objectValue);
    if (answered) {
        ShowFrame(FrameDirection::Received, acknowledgement);
        line["acknowledgement"] = acknowledgement;
    }
    return Finish(step, ExitCode::Ok, std::move(line));
}
