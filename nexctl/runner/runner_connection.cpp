// The verbs start and exit: the connection to a helper from its beginning to its end.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/json_text.h"
#include "foundation/windows_headers.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner.h"
#include "nexctl/runner/runner_texts.h"

namespace {

// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kExitTimeoutMs = 30000;

}  // namespace

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
        const CNativeGuard guard(m_lockNotice);
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
            const CNativeGuard guard(m_lockNotice);
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
