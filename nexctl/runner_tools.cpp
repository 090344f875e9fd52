// The verbs that need no helper.
#include <algorithm>
#include <cstdio>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/envelope.h"
#include "ipc/frame.h"
#include "ipc/pipe_names.h"
#include "nexctl/decrypt.h"
#include "nexctl/doctor.h"
#include "nexctl/frame_text.h"
#include "nexctl/runner.h"

ExitCode CRunner::Names() {
    const std::wstring mark = Utf8ToUtf16(m_strMark);
    Json::Value line(Json::objectValue);
    line["service_pipe"] = Utf16ToUtf8(ServicePipeName(mark, m_strService));
    line["service_gate"] = Utf16ToUtf8(ServiceEventName(mark, m_strService));
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

ExitCode CRunner::Doctor(const Step& step) {
    std::string program = m_script.exe;
    if (program.empty()) {
        wchar_t own[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, own, MAX_PATH);
        const std::wstring path = own;
        program = Utf16ToUtf8(path.substr(0, path.find_last_of(L'\\') + 1) + L"nexlet.exe");
    }
    const DoctorFacts facts = LookAtMachine(m_strMark, m_strService, program);
    const std::vector<Finding> findings = Diagnose(facts);
    const bool wrong = std::ranges::any_of(findings, &Finding::isWrong);
    std::fputs(FindingsText(findings).c_str(), stderr);
    return Finish(step, wrong ? ExitCode::Refused : ExitCode::Ok, DoctorReport(facts, findings));
}
