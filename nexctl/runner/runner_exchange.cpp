// Exchanges as files: recording, showing, playing the caller's half again.
#include "client/deadline.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/protocol/message_type.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"
#include "tooling/text_file.h"

namespace {

// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kExitTimeoutMs = 30000;

bool IsExit(std::string_view payload) {
    Json::Value message;
    return ParseJson(payload, message) && message.isObject() &&
           message["message_type"] == static_cast<int>(MessageType::S_MT_ExitExeProcess);
}

}  // namespace

void CRunner::OnFrame(FrameDirection direction, std::string_view payload) {
    ShowFrame(direction, payload);
    {
        const CNativeGuard guard(m_lockFrames);
        if (direction == FrameDirection::Sent) {
            m_strSent = payload;
        }
        if (m_bReplaying && direction == FrameDirection::Received) {
            m_replayed.emplace_back(payload);
        }
        if (!m_strRecordFile.empty()) {
            ExchangeFrame& frame = m_record.frames.emplace_back();
            frame.direction = direction;
            frame.payload = payload;
        }
    }
    m_framesChanged.NotifyAll();
}

bool CRunner::RecordsMayBeWritten() const {
    for (const Step& step : m_script.steps) {
        if (std::string_view(step.verb->name) == "record" && !step.force &&
            GetFileAttributesW(Utf8ToUtf16(step.arguments[0]).c_str()) != INVALID_FILE_ATTRIBUTES) {
            WriteText(OutputStream::Error, "nexctl: record: " + step.arguments[0] + " exists; --force overwrites it\n");
            return false;
        }
    }
    return true;
}

ExitCode CRunner::Record(const Step& step) {
    const CNativeGuard guard(m_lockFrames);
    m_strRecordFile = step.arguments[0];
    m_bRecordOver = step.force;
    return ExitCode::Ok;
}

ExitCode CRunner::SaveRecord(ExitCode code) {
    const CNativeGuard guard(m_lockFrames);
    if (m_strRecordFile.empty()) {
        return code;
    }
    m_record.mark = m_strMark;
    m_record.service = m_strService;
    SettleExchange(m_record);
    if (WriteTextFile(m_strRecordFile, WriteExchange(m_record), m_bRecordOver)) {
        return code;
    }
    WriteText(OutputStream::Error, "nexctl: record: " + m_strRecordFile + " cannot be written\n");
    return code == ExitCode::Ok ? ExitCode::NotStarted : code;
}

bool CRunner::NextFrame(std::uint32_t timeoutMs, bool take, std::string& payload) {
    const CDeadline deadline(timeoutMs);
    CNativeHold hold(m_lockFrames);
    while (m_replayed.empty()) {
        if (deadline.Passed()) {
            return false;
        }
        m_framesChanged.Wait(hold, deadline.RemainingMs());
    }
    payload = m_replayed.front();
    if (take) {
        m_replayed.pop_front();
    }
    return true;
}

ExitCode CRunner::AskWhileLoading(const Step& step, const ExchangeFrame& request) {
    const ULONGLONG startedAt = GetTickCount64();
    std::string payload;
    while (NextFrame(TimeoutOf(step), /*take=*/false, payload) && IsLoading(payload) &&
           GetTickCount64() - startedAt < TimeoutOf(step)) {
        NextFrame(0, /*take=*/true, payload);
        Sleep(step.everyMs);
        const nexlet_result result = m_client.SendPayload(request.payload, TimeoutOf(step));
        if (result != NEXLET_OK) {
            return Fail(step, result);
        }
    }
    return ExitCode::Ok;
}

ExitCode CRunner::ReplayFrame(const Step& step, const ExchangeFrame& frame, Json::Value& differences) {
    if (frame.direction == FrameDirection::Sent) {
        const nexlet_result result = m_client.SendPayload(frame.payload, TimeoutOf(step));
        return result == NEXLET_OK ? ExitCode::Ok : Fail(step, result);
    }
    std::string payload;
    if (!NextFrame(TimeoutOf(step), /*take=*/true, payload)) {
        return Finish(step, ExitCode::Timeout, Json::Value(Json::objectValue), "a frame of the exchange did not come");
    }
    const std::string difference = ExchangeDifference(frame, payload);
    if (!difference.empty()) {
        Json::Value one(Json::objectValue);
        one["difference"] = difference;
        one["expected"] = FrameRecord(frame.direction, frame.payload);
        one["found"] = FrameRecord(frame.direction, payload);
        differences.append(std::move(one));
    }
    return ExitCode::Ok;
}

ExitCode CRunner::Replay(const Step& step) {
    Exchange exchange;
    std::string problem;
    if (!ReadExchange(step.arguments[0], exchange, problem)) {
        WriteText(OutputStream::Error, "nexctl: replay: " + problem + "\n");
        return ExitCode::Usage;
    }
    m_strMark = m_script.markGiven ? m_script.mark : exchange.mark;
    m_strService = m_script.serviceGiven ? m_script.service : exchange.service;
    exchange = MoveExchange(exchange, m_strMark, m_strService);
    {
        const CNativeGuard guard(m_lockFrames);
        m_bReplaying = true;
    }
    ExitCode code = Connect(step, /*print=*/false);
    Json::Value differences(Json::arrayValue);
    bool exits = false;
    for (std::size_t at = 0; at < exchange.frames.size() && code == ExitCode::Ok; ++at) {
        const ExchangeFrame& frame = exchange.frames[at];
        exits = frame.direction == FrameDirection::Sent && IsExit(frame.payload);
        // Whoever recorded it asked until the answer was settled.
        if (frame.direction == FrameDirection::Received && !IsLoading(frame.payload) && at > 0 &&
            exchange.frames[at - 1].direction == FrameDirection::Sent) {
            code = AskWhileLoading(step, exchange.frames[at - 1]);
        }
        if (code == ExitCode::Ok) {
            code = ReplayFrame(step, frame, differences);
        }
    }
    if (code != ExitCode::Ok) {
        return code;
    }
    Json::Value line(Json::objectValue);
    if (exits) {
        // The frames are compared, so a helper that takes longer to go does not take the result away.
        const nexlet_result lost = m_client.WaitLost(TimeoutOf(step, kExitTimeoutMs));
        if (lost != NEXLET_OK && lost != NEXLET_TIMEOUT) {
            return Fail(step, lost);
        }
        m_bConnected = lost == NEXLET_TIMEOUT;
        line["released"] = !m_bConnected;
        if (m_bConnected) {
            WriteText(OutputStream::Error, "nexctl: replay: the helper has not yet let the service go\n");
        }
    }
    line["frames"] = Json::UInt64(exchange.frames.size());
    const bool same = differences.empty();
    line["differences"] = std::move(differences);
    return Finish(step, same ? ExitCode::Ok : ExitCode::Refused, std::move(line),
                  "the helper's half is not the one of the file");
}

ExitCode CRunner::Show(const Step& step) {
    Exchange exchange;
    std::string problem;
    if (!ReadExchange(step.arguments[0], exchange, problem)) {
        WriteText(OutputStream::Error, "nexctl: show: " + problem + "\n");
        return ExitCode::Usage;
    }
    WriteText(OutputStream::Output, ShowExchange(exchange));
    return ExitCode::Ok;
}
