#include "nexctl/runner.h"

#include <algorithm>
#include <cstdio>

#include "client/host_pipe.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/envelope.h"
#include "ipc/frame.h"
#include "ipc/message_type.h"
#include "ipc/pipe_names.h"
#include "nexctl/decrypt.h"
#include "nexctl/frame_text.h"

namespace {

constexpr int kInitReply = static_cast<int>(MessageType::S_MT_InitReply);
constexpr int kExitRequest = static_cast<int>(MessageType::S_MT_ExitExeProcess);
constexpr int kForward = static_cast<int>(MessageType::S_MT_InitWxApp);
// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kExitTimeoutMs = 30000;
// The last instance and the process go within the same look; what comes between is the SDKs' own end.
constexpr std::uint32_t kProcessEndMs = 5000;

// The reply of a request, 0 when it has none.
int ReplyTypeOf(int type) {
    switch (static_cast<MessageType>(type)) {
        case MessageType::S_MT_GetWxAppStatus:
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            return static_cast<int>(MessageType::S_MT_StatusReply);
        case MessageType::S_MT_GetWxAppStatusEncrypt:
            return static_cast<int>(MessageType::S_MT_StatusEncryptReply);
        case MessageType::S_MT_GetWxAppQIMEI:
            return static_cast<int>(MessageType::S_MT_QIMEIReply);
        case MessageType::S_MT_GetRSAEncrypt:
            return static_cast<int>(MessageType::S_MT_RSAEncryptReply);
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
            return static_cast<int>(MessageType::S_MT_OpenMiniAppReply);
        default:
            return 0;
    }
}

const char* OutcomeOf(ExitCode code) {
    switch (code) {
        case ExitCode::Ok:
            return "ok";
        case ExitCode::Usage:
            return "usage";
        case ExitCode::NotStarted:
            return "not started";
        case ExitCode::Timeout:
            return "timeout";
        case ExitCode::Gone:
            return "gone";
        case ExitCode::Refused:
            return "refused";
    }
    return "unknown";
}

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

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

std::wstring DefaultHelper() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    return own.substr(0, own.find_last_of(L'\\') + 1) + L"nexlet.exe";
}

}  // namespace

ExitCode CRunner::Run() {
    for (const Step& step : m_script.steps) {
        const ExitCode code = RunStep(step);
        if (code != ExitCode::Ok) {
            return code;
        }
    }
    return ExitCode::Ok;
}

ExitCode CRunner::RunStep(const Step& step) {
    const std::string_view verb = step.verb->name;
    if (verb == "host") {
        return Host(step);
    }
    if (verb == "names") {
        return Names();
    }
    if (verb == "encode") {
        return Encode(step);
    }
    if (verb == "decode") {
        return Decode(step);
    }
    if (verb == "decrypt") {
        return Decrypt(step);
    }
    if (verb == "demo") {
        return Demo(step);
    }
    if (verb == "start") {
        return Start(step);
    }
    m_bListening = verb == "listen";
    const ExitCode connected = Connect(step, /*print=*/false);
    if (connected != ExitCode::Ok) {
        return connected;
    }
    if (verb == "listen") {
        return Listen(step);
    }
    if (verb == "exit") {
        return Exit(step);
    }
    if (verb == "poll") {
        return Poll(step);
    }
    Json::Value content(Json::objectValue);
    if (verb == "open") {
        content["service_id"] = m_script.service;
        content["p1"] = Parsed(step.arguments[0]);
        return Request(step, static_cast<int>(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), std::move(content),
                       static_cast<int>(MessageType::S_MT_OpenMiniAppReply));
    }
    if (verb == "send") {
        const int type = std::stoi(step.arguments[0]);
        return Request(step, type, Parsed(step.arguments[1]), step.expect.value_or(ReplyTypeOf(type)));
    }
    int type = 0;
    if (verb == "watch") {
        content["p1"] = step.arguments[0];
        type = static_cast<int>(MessageType::S_MT_DelayCheckWndStatus);
    } else if (verb == "encrypt") {
        Json::Value inner(Json::objectValue);
        inner["text"] = step.arguments[0];
        content["p1"] = WriteJson(inner);
        type = static_cast<int>(MessageType::S_MT_GetRSAEncrypt);
    } else if (verb == "status") {
        type = static_cast<int>(MessageType::S_MT_GetWxAppStatus);
    } else if (verb == "status-encrypted") {
        type = static_cast<int>(MessageType::S_MT_GetWxAppStatusEncrypt);
    } else {
        type = static_cast<int>(MessageType::S_MT_GetWxAppQIMEI);
    }
    return Request(step, type, std::move(content), ReplyTypeOf(type));
}

ExitCode CRunner::Connect(const Step& step, bool print) {
    if (m_bConnected) {
        return print ? Finish(step, ExitCode::Ok, Json::Value(Json::objectValue)) : ExitCode::Ok;
    }
    m_caller = std::make_unique<CCaller>(Utf8ToUtf16(m_script.mark), m_script.service);
    m_caller->SetObserver(
        [this](FrameDirection direction, std::string_view payload) { ShowFrame(direction, payload); });
    CallerResult result = m_caller->Open();
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    const std::uint32_t timeoutMs = TimeoutOf(step);
    if (m_script.noStart) {
        result = m_caller->WaitForConnection(timeoutMs);
        if (result != CallerResult::Ok) {
            return Fail(step, result);
        }
        m_bConnected = true;
        return print ? Finish(step, ExitCode::Ok, Json::Value(Json::objectValue)) : ExitCode::Ok;
    }
    HelperStart start;
    start.strExe = m_script.exe.empty() ? DefaultHelper() : Utf8ToUtf16(m_script.exe);
    start.strChannel = m_script.channel.value_or(
        MakeChannelText(m_caller->Mark(), m_script.mid, m_script.channelId, "nexctl", "nexctl"));
    start.strType = Utf8ToUtf16(m_script.type);
    start.strParam = m_script.param;
    result = m_caller->StartHelper(std::move(start));
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    ReceivedFrame notice;
    result = m_caller->WaitForFrame(kInitReply, timeoutMs, notice);
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    m_bConnected = true;
    if (!print) {
        return ExitCode::Ok;
    }
    Json::Value line(Json::objectValue);
    line["process_id"] = Json::UInt(m_caller->ProcessId());
    line["reply"] = Parsed(notice.strPayload);
    return Finish(step, ExitCode::Ok, std::move(line));
}

ExitCode CRunner::Start(const Step& step) {
    return Connect(step, /*print=*/true);
}

ExitCode CRunner::Request(const Step& step, int type, Json::Value content, int replyType) {
    CallerResult result = m_caller->Send(type, std::move(content), TimeoutOf(step));
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    Json::Value line(Json::objectValue);
    if (replyType == 0) {
        return Finish(step, ExitCode::Ok, std::move(line));
    }
    ReceivedFrame reply;
    result = m_caller->WaitForFrame(replyType, TimeoutOf(step), reply);
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    line["reply"] = Parsed(reply.strPayload);
    // A bare send passes the reply on; only a verb knows what its answer means.
    const bool failed = std::string_view(step.verb->name) != "send" && SaysFailure(replyType, type, reply.content);
    return Finish(step, failed ? ExitCode::Refused : ExitCode::Ok, std::move(line),
                  "the helper answered \"" + MemberText(reply.content, "result") + "\"");
}

ExitCode CRunner::Poll(const Step& step) {
    const int type = static_cast<int>(MessageType::S_MT_OpenMiniAppSuccessfully);
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        Json::Value content(Json::objectValue);
        content["p1"] = step.arguments[0];
        if (step.until.empty()) {
            return Request(step, type, std::move(content), ReplyTypeOf(type));
        }
        CallerResult result = m_caller->Send(type, std::move(content), TimeoutOf(step));
        ReceivedFrame reply;
        if (result == CallerResult::Ok) {
            result = m_caller->WaitForFrame(ReplyTypeOf(type), TimeoutOf(step), reply);
        }
        if (result != CallerResult::Ok) {
            return Fail(step, result);
        }
        const std::string word = MemberText(reply.content, "result");
        Json::Value line(Json::objectValue);
        line["reply"] = Parsed(reply.strPayload);
        if (word == step.until) {
            return Finish(step, ExitCode::Ok, std::move(line));
        }
        if (word != "Loading") {
            return Finish(step, ExitCode::Refused, std::move(line), "the open ended with \"" + word + "\"");
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
        ReceivedFrame frame;
        const CallerResult result =
            m_caller->WaitForFrame(0, passed >= timeoutMs ? 0 : static_cast<std::uint32_t>(timeoutMs - passed), frame);
        if (result == CallerResult::Timeout && step.count == 0) {
            return Finish(step, ExitCode::Ok, std::move(line));
        }
        if (result != CallerResult::Ok) {
            return Finish(step, ExitCodeOf(result), std::move(line), DescribeCallerResult(result));
        }
    }
}

ExitCode CRunner::Exit(const Step& step) {
    const std::uint32_t timeoutMs = TimeoutOf(step, kExitTimeoutMs);
    Json::Value content(Json::objectValue);
    content["service_id"] = m_script.service;
    CallerResult result = m_caller->Send(kExitRequest, std::move(content), timeoutMs);
    if (result == CallerResult::Ok) {
        result = m_caller->WaitForLoss(timeoutMs);
    }
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    m_bConnected = false;
    Json::Value line(Json::objectValue);
    DWORD exitCode = 0;
    const bool ended = m_caller->WaitForProcessEnd(std::min(timeoutMs, kProcessEndMs), exitCode) == CallerResult::Ok;
    line["process_ended"] = ended;
    if (ended) {
        line["exit_code"] = Json::UInt(exitCode);
    }
    return Finish(step, exitCode == 0 ? ExitCode::Ok : ExitCode::Gone, std::move(line),
                  "the helper's process ended with exit code " + std::to_string(exitCode));
}

ExitCode CRunner::Host(const Step& step) {
    const std::uint32_t timeoutMs = TimeoutOf(step);
    const int type = std::stoi(step.arguments[0]);
    CHostPipe host;
    DWORD systemError = 0;
    CallerResult result = host.Connect(Utf8ToUtf16(m_script.mark), timeoutMs, systemError);
    if (result == CallerResult::Ok) {
        const std::string payload =
            WriteEnvelope(type, type == kForward ? Json::Value(step.arguments[1]) : Parsed(step.arguments[1]));
        ShowFrame(FrameDirection::Sent, payload);
        result = host.SendPayload(payload, timeoutMs);
    }
    Json::Value line(Json::objectValue);
    if (result == CallerResult::Ok && step.expect.value_or(type == kForward ? 1 : 0) != 0) {
        std::string payload;
        result = host.WaitForPayload(timeoutMs, payload);
        if (result == CallerResult::Ok) {
            ShowFrame(FrameDirection::Received, payload);
            line["acknowledgement"] = payload;
        }
    }
    if (result != CallerResult::Ok) {
        return Fail(step, result);
    }
    return Finish(step, ExitCode::Ok, std::move(line));
}

ExitCode CRunner::Names() {
    const std::wstring mark = Utf8ToUtf16(m_script.mark);
    Json::Value line(Json::objectValue);
    line["service_pipe"] = Utf16ToUtf8(ServicePipeName(mark, m_script.service));
    line["service_gate"] = Utf16ToUtf8(ServiceEventName(mark, m_script.service));
    line["host_pipe"] = Utf16ToUtf8(HostPipeName(mark));
    line["host_gate"] = Utf16ToUtf8(HostEventName(mark));
    line["ready_event"] = Utf16ToUtf8(kReadyEventName);
    PrintLine(line);
    return ExitCode::Ok;
}

ExitCode CRunner::Encode(const Step& step) {
    const std::string text =
        HexText(BuildFrame(WriteEnvelope(std::stoi(step.arguments[0]), Parsed(step.arguments[1]))));
    std::printf("%s\n", text.c_str());
    return ExitCode::Ok;
}

ExitCode CRunner::Decode(const Step& step) {
    std::string bytes;
    if (!ParseHex(step.arguments[0], bytes)) {
        std::fprintf(stderr, "nexctl: decode: these are no hexadecimal bytes\n");
        return ExitCode::Usage;
    }
    std::vector<std::string> payloads;
    const bool whole = CutFrames(bytes, payloads);
    for (const std::string& payload : payloads) {
        Json::Value record = FrameRecord(FrameDirection::Sent, payload);
        record.removeMember("direction");
        PrintLine(record);
    }
    if (!whole || payloads.empty()) {
        std::fprintf(stderr, "nexctl: decode: the bytes do not end with a whole frame\n");
        return ExitCode::Refused;
    }
    return ExitCode::Ok;
}

ExitCode CRunner::Decrypt(const Step& step) {
    std::string text;
    std::string complaint;
    if (!DecryptEnvelope(step.arguments[1], step.arguments[0], text, complaint)) {
        std::fprintf(stderr, "nexctl: decrypt: %s\n", complaint.c_str());
        return ExitCode::Refused;
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    return ExitCode::Ok;
}

std::uint32_t CRunner::TimeoutOf(const Step& step, std::uint32_t least) const {
    return step.timeoutMs.value_or(std::max(m_script.timeoutMs, least));
}

ExitCode CRunner::Finish(const Step& step, ExitCode code, Json::Value line, std::string_view words) {
    line["step"] = step.verb->name;
    line["outcome"] = OutcomeOf(code);
    if (!m_bDemo) {
        PrintLine(line);
    }
    if (code != ExitCode::Ok && !words.empty()) {
        const std::lock_guard<std::mutex> lock(m_lockOutput);
        std::fprintf(stderr, "nexctl: %s: %.*s\n", step.verb->name, static_cast<int>(words.size()), words.data());
    }
    return code;
}

ExitCode CRunner::Fail(const Step& step, CallerResult result) {
    Json::Value line(Json::objectValue);
    std::string words = DescribeCallerResult(result);
    if (m_caller != nullptr && m_caller->SystemError() != 0) {
        line["system_error"] = Json::UInt(m_caller->SystemError());
        words += " (system error " + std::to_string(m_caller->SystemError()) + ")";
    }
    DWORD exitCode = 0;
    if (result == CallerResult::Gone && m_caller != nullptr &&
        m_caller->WaitForProcessEnd(0, exitCode) == CallerResult::Ok) {
        line["exit_code"] = Json::UInt(exitCode);
        words += "; its exit code was " + std::to_string(exitCode);
    }
    return Finish(step, ExitCodeOf(result), std::move(line), words);
}

void CRunner::ShowFrame(FrameDirection direction, std::string_view payload) {
    if (m_script.frames || m_bListening) {
        PrintLine(FrameRecord(direction, payload));
    }
    if (m_script.trace || m_bDemo) {
        const std::lock_guard<std::mutex> lock(m_lockOutput);
        std::FILE* const stream = m_bDemo ? stdout : stderr;
        std::fprintf(stream, "  %s\n", FrameLine(direction, payload).c_str());
        if (m_script.hex) {
            std::fprintf(stream, "    %s\n", HexText(BuildFrame(payload)).c_str());
        }
        std::fflush(stream);
    }
}

void CRunner::PrintLine(const Json::Value& line) {
    const std::string text = WriteJson(line);
    const std::lock_guard<std::mutex> lock(m_lockOutput);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}
