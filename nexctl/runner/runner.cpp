#include "nexctl/runner/runner.h"

#include <algorithm>

#include "foundation/json_text.h"
#include "foundation/windows_headers.h"
#include "ipc/transport/frame.h"
#include "nexctl/console/console_io.h"
#include "nexctl/runner/runner_texts.h"
#include "tooling/frame_text.h"
#include "tooling/text_file.h"

namespace {

// While a process ends, the system closes its pipes first and signals its end later.
constexpr std::uint32_t kEndAfterLossMs = 500;

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
    if (result == NEXLET_GONE) {
        m_client.WaitProcessEnd(kEndAfterLossMs);
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
