// The verbs that need no helper.
#include <algorithm>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"
#include "nexctl/beacons/beacon_counts.h"
#include "nexctl/console/console_io.h"
#include "nexctl/doctor/judge.h"
#include "nexctl/doctor/look.h"
#include "nexctl/doctor/tell.h"
#include "nexctl/runner/runner.h"
#include "tooling/decrypt.h"
#include "tooling/frame_text.h"

std::wstring CRunner::ProgramPath() const {
    if (!m_script.exe.empty()) {
        return Utf8ToUtf16(m_script.exe);
    }
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    const std::wstring path = own;
    return path.substr(0, path.find_last_of(L'\\') + 1) + L"nexlet.exe";
}

ExitCode CRunner::Names(const Step& /*step*/) {
    const std::wstring mark = Utf8ToUtf16(m_strMark);
    Json::Value line(Json::objectValue);
    const std::string service = m_strService.empty() ? "nexctl" : m_strService;
    line["service_pipe"] = Utf16ToUtf8(ServicePipeName(mark, service));
    line["service_gate"] = Utf16ToUtf8(ServiceEventName(mark, service));
    line["host_pipe"] = Utf16ToUtf8(HostPipeName(mark));
    line["host_gate"] = Utf16ToUtf8(HostEventName(mark));
    line["ready_event"] = Utf16ToUtf8(kReadyEventName);
    PrintLine(line);
    return ExitCode::Ok;
}

ExitCode CRunner::Encode(const Step& step) {
    Json::Value content;
    ParseJson(step.arguments[1], content);
    const std::string text = HexText(BuildFrame(WriteEnvelope(std::stoi(step.arguments[0]), std::move(content))));
    WriteText(OutputStream::Output, text + "\n");
    return ExitCode::Ok;
}

ExitCode CRunner::Decode(const Step& step) {
    std::string bytes;
    if (!ParseHex(step.arguments[0], bytes)) {
        WriteText(OutputStream::Error, "nexctl: decode: these are not hexadecimal bytes\n");
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
        WriteText(OutputStream::Error, "nexctl: decode: the bytes do not end with a whole frame\n");
        return ExitCode::Refused;
    }
    return ExitCode::Ok;
}

ExitCode CRunner::Decrypt(const Step& step) {
    std::string text;
    std::string complaint;
    if (!DecryptEnvelope(step.arguments[1], step.arguments[0], text, complaint)) {
        WriteText(OutputStream::Error, "nexctl: decrypt: " + complaint + "\n");
        return ExitCode::Refused;
    }
    WriteText(OutputStream::Output, text + "\n");
    return ExitCode::Ok;
}

ExitCode CRunner::Beacons(const Step& step) {
    const BeaconCounts counts = CountBeacons(step.arguments[0]);
    if (step.text) {
        WriteText(OutputStream::Output, BeaconText(counts));
        return ExitCode::Ok;
    }
    return Finish(step, ExitCode::Ok, BeaconRecord(counts));
}

DoctorSubject CRunner::DoctorSubjectOfRun() const {
    DoctorSubject subject;
    subject.mark = m_strMark;
    // That of this run, when there is one; or else the doctor takes the one of the helper that runs.
    if (m_script.serviceGiven || m_bConnected) {
        subject.service = m_strService;
    }
    if (!m_script.exe.empty()) {
        subject.program = m_script.exe;
    }
    subject.ownProgram = Utf16ToUtf8(ProgramPath());
    return subject;
}

ExitCode CRunner::Doctor(const Step& step) {
    const DoctorFacts facts = LookAtMachine(DoctorSubjectOfRun());
    const std::vector<Finding> findings = Diagnose(facts);
    const bool wrong = std::ranges::any_of(findings, &Finding::isWrong);
    if (!step.summary) {
        WriteText(OutputStream::Error, FindingsText(findings));
    }
    return Finish(step, wrong ? ExitCode::Refused : ExitCode::Ok,
                  step.summary ? DoctorSummary(facts, findings) : DoctorReport(facts, findings));
}
