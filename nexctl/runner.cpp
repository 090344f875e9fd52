#include "nexctl/runner.h"

#include <algorithm>
#include <cstdio>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame.h"
#include "nexctl/console/console_io.h"
#include "tooling/frame_text.h"
#include "tooling/text_file.h"

namespace {

constexpr int kForward = static_cast<int>(MessageType::S_MT_InitWxApp);
// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kExitTimeoutMs = 30000;

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

// An exit code as people know it: those of the system are told in hexadecimal.
std::string ExitCodeText(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, code < 0x10000 ? "%u" : "0x%08X", code);
    return text;
}

Json::Value Parsed(const std::string& text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

}  // namespace

CRunner::CRunner(const Script& script) : m_script(script), m_strMark(script.mark), m_strService(script.service) {}

ExitCode CRunner::Run() {
    if (!RecordsMayBeWritten()) {
        return ExitCode::Usage;
    }
    ExitCode code = ExitCode::Ok;
    for (const Step& step : m_script.steps) {
        const bool leaves = std::string_view(step.verb->name) == "exit";
        if (code == ExitCode::Ok) {
            code = RunStep(step);
        } else if (leaves && m_bConnected) {
            RunStep(step);
        }
    }
    m_client.Close();
    return SaveRecord(code);
}

ExitCode CRunner::RunStep(const Step& step) {
    static constexpr struct {
        std::string_view verb;
        ExitCode (CRunner::*run)(const Step& step);
    } kVerbs[] = {
        {"start", &CRunner::Start},     {"open", &CRunner::Request},
        {"poll", &CRunner::Poll},       {"watch", &CRunner::Request},
        {"status", &CRunner::Request},  {"status-encrypted", &CRunner::Request},
        {"qimei", &CRunner::Request},   {"encrypt", &CRunner::Request},
        {"decrypt", &CRunner::Decrypt}, {"send", &CRunner::Send},
        {"listen", &CRunner::Listen},   {"exit", &CRunner::Exit},
        {"host", &CRunner::Host},       {"record", &CRunner::Record},
        {"replay", &CRunner::Replay},   {"show", &CRunner::Show},
        {"doctor", &CRunner::Doctor},   {"log", &CRunner::Log},
        {"names", &CRunner::Names},     {"encode", &CRunner::Encode},
        {"decode", &CRunner::Decode},   {"demo", &CRunner::Demo},
        {"helpers", &CRunner::Helpers}, {"stop", &CRunner::Stop},
        {"clean", &CRunner::Clean},     {"bundle", &CRunner::Bundle},
        {"beacons", &CRunner::Beacons}, {"conformance", &CRunner::Conformance},
    };
    const std::string_view name = step.verb->name;
    m_bListening = name == "listen";
    if (step.verb->need == VerbNeed::Connection && name != "start") {
        const ExitCode connected = Connect(step, /*print=*/false);
        if (connected != ExitCode::Ok) {
            return connected;
        }
    }
    const auto* const found = std::ranges::find(kVerbs, name, [](const auto& one) { return one.verb; });
    return found != std::end(kVerbs) ? (this->*found->run)(step) : ExitCode::Usage;
}

// The verbs that are one request each.
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

nexlet_result CRunner::StartHelper(std::uint32_t timeoutMs) {
    nexlet_start_options options = {};
    options.program = m_script.exe.empty() ? nullptr : m_script.exe.c_str();
    options.channel_json = m_script.channel ? m_script.channel->c_str() : nullptr;
    options.machine_id = m_script.mid.c_str();
    options.channel_id = m_script.channelId;
    options.product = "nexctl";
    options.from = "nexctl";
    options.type = m_script.type.empty() ? nullptr : m_script.type.c_str();
    options.param_json = m_script.param.empty() ? nullptr : m_script.param.c_str();
    return m_client.Start(options, timeoutMs);
}

void CRunner::KeepNotice(std::string_view payload) {
    const Json::Value frame = Parsed(std::string(payload));
    const Json::Value* type = frame.isObject() ? FindJsonMember(frame, "message_type") : nullptr;
    if (type != nullptr && *type == NEXLET_TYPE_READY) {
        const std::lock_guard<std::mutex> lock(m_lockNotice);
        m_strNotice = payload;
    }
}

void CRunner::TellUnusedExe(const Step& step, const std::string& why) {
    if (!m_script.exe.empty()) {
        WriteText(OutputStream::Error,
                  "nexctl: " + std::string(step.verb->name) + ": --exe is not used: " + why + "\n");
    }
}

ExitCode CRunner::Connect(const Step& step, bool print) {
    if (m_bConnected) {
        return print ? Finish(step, ExitCode::Ok, Json::Value(Json::objectValue)) : ExitCode::Ok;
    }
    nexlet::Callbacks callbacks;
    callbacks.onFrame = [this](std::int32_t direction, std::string_view payload) {
        if (direction == NEXLET_RECEIVED) {
            KeepNotice(payload);
        }
        OnFrame(direction == NEXLET_SENT ? FrameDirection::Sent : FrameDirection::Received, payload);
    };
    // Without a name the service id is unique to this run, so that no helper holds it from an earlier one.
    const bool named = m_script.serviceGiven || m_strService != m_script.service;
    nexlet_result result = named ? m_client.Open(m_strMark, m_strService, std::move(callbacks))
                                 : m_client.Open(m_strMark, std::move(callbacks));
    if (result == NEXLET_OK) {
        m_strService = m_client.ServiceId();
    }
    const std::uint32_t timeoutMs = TimeoutOf(step);
    Json::Value line(Json::objectValue);
    if (result == NEXLET_OK && m_script.noStart) {
        TellUnusedExe(step, "--no-start starts nothing");
        result = m_client.WaitConnected(timeoutMs);
    } else if (result == NEXLET_OK) {
        result = StartHelper(timeoutMs);
        const DWORD systemError = GetLastError();
        const nexlet_helper helper = m_client.Helper();
        if (helper.forwarded != 0) {
            TellUnusedExe(step, "the helper that runs, process " + std::to_string(helper.process_id) +
                                    ", has taken the command line");
        }
        SetLastError(systemError);
        if (result == NEXLET_OK) {
            const std::lock_guard<std::mutex> lock(m_lockNotice);
            line["process_id"] = m_client.Helper().process_id;
            line["reply"] = Parsed(m_strNotice);
        }
    }
    if (result != NEXLET_OK) {
        return Fail(step, result);
    }
    m_bConnected = true;
    return print ? Finish(step, ExitCode::Ok, std::move(line)) : ExitCode::Ok;
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

ExitCode CRunner::Exit(const Step& step) {
    const auto ended = m_client.Exit(TimeoutOf(step, kExitTimeoutMs));
    if (!ended) {
        return Fail(step, ended.result);
    }
    m_bConnected = false;
    Json::Value line(Json::objectValue);
    line["process_ended"] = ended.value;
    const std::uint32_t exitCode = m_client.Helper().exit_code;
    if (ended.value) {
        line["exit_code"] = exitCode;
    }
    return Finish(step, exitCode == 0 ? ExitCode::Ok : ExitCode::Gone, std::move(line),
                  "the helper's process ended with exit code " + ExitCodeText(exitCode) +
                      LastWords(m_client.Helper().process_id));
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
        WriteText(OutputStream::Error, "nexctl: " + std::string(step.verb->name) + ": " + std::string(words) + "\n");
    }
    return code;
}

ExitCode CRunner::Fail(const Step& step, nexlet_result result, Json::Value line) {
    const DWORD systemError = GetLastError();
    line["result"] = nexlet_result_name(result);
    std::string words = nexlet_result_text(result);
    if (result == NEXLET_SYSTEM_ERROR || result == NEXLET_NOT_STARTED || result == NEXLET_NAME_TAKEN) {
        line["system_error"] = Json::UInt(systemError);
        words += " (system error " + std::to_string(systemError) + ")";
    }
    if (result == NEXLET_BAD_ARGUMENT) {
        words = nexlet_last_error_text();
    }
    const nexlet_helper helper = m_client.Helper();
    const bool starting = !m_bConnected;
    if (result == NEXLET_GONE && helper.ended != 0) {
        line["exit_code"] = helper.exit_code;
        if (starting && helper.exit_code == 0) {
            words =
                "process " + std::to_string(helper.process_id) +
                " ended with 0 without a ready notice: another helper has the mark and its pipe was busy; try again";
        } else {
            words += "; its exit code was " + ExitCodeText(helper.exit_code) + LastWords(helper.process_id);
        }
    }
    if (result == NEXLET_TIMEOUT && starting && !m_script.noStart) {
        words =
            "no ready notice within " + std::to_string(TimeoutOf(step)) +
            " ms. Was this service id used in the last 70 s? Take another, or send type 9 to the host and wait 12 s";
    } else if (result == NEXLET_TIMEOUT && helper.process_id != 0) {
        words = RefusalInLog(helper.process_id);
    }
    return Finish(step, ExitCodeOf(result), std::move(line), words);
}

void CRunner::ShowFrame(FrameDirection direction, std::string_view payload) {
    if (m_script.frames || m_bListening) {
        PrintLine(FrameRecord(direction, payload));
    }
    if (m_script.trace || m_bDemo) {
        std::string text = "  " + FrameLine(direction, payload) + "\n";
        if (m_script.hex) {
            text += "    " + HexText(BuildFrame(payload)) + "\n";
        }
        WriteText(m_bDemo ? OutputStream::Output : OutputStream::Error, text);
    }
}

void CRunner::PrintLine(const Json::Value& line) {
    WriteText(OutputStream::Output, WriteJson(line) + "\n");
}
