#include "nexctl/doctor/tell.h"

#include <algorithm>
#include <string_view>

namespace {

// Text after a head, broken at blanks and indented below itself. The widest head gives the column.
constexpr std::string_view kWidestHead = "nexctl: wrong: ";
constexpr std::size_t kLineWidth = 80;

std::string Paragraph(std::string line, const std::string& text) {
    line.resize(kWidestHead.size(), ' ');
    std::string lines;
    std::size_t from = 0;
    while (text.size() - from > kLineWidth - kWidestHead.size()) {
        std::size_t blank = text.rfind(' ', from + kLineWidth - kWidestHead.size());
        if (blank == std::string::npos || blank < from) {
            // A word as long as this, a path, stays whole.
            blank = text.find(' ', from);
        }
        if (blank == std::string::npos) {
            break;
        }
        lines += line + text.substr(from, blank - from) + "\n";
        line.assign(kWidestHead.size(), ' ');
        from = blank + 1;
    }
    return lines + line + text.substr(from) + "\n";
}

Json::Value Pipe(const PipeFact& pipe) {
    Json::Value value(Json::objectValue);
    value["name"] = pipe.name;
    value["state"] = pipe.state == PipeState::Missing ? "missing" : pipe.state == PipeState::Free ? "free" : "busy";
    if (pipe.serverId != 0) {
        value["process_id"] = pipe.serverId;
        value["program"] = pipe.serverProgram;
    }
    return value;
}

Json::Value Event(const EventFact& event) {
    Json::Value value(Json::objectValue);
    value["name"] = event.name;
    value["exists"] = event.exists;
    if (event.denied) {
        value["denied"] = true;
    }
    if (event.exists) {
        value["signalled"] = event.signalled;
    }
    return value;
}

Json::Value Files(const std::vector<FileFact>& files) {
    Json::Value list(Json::arrayValue);
    for (const FileFact& file : files) {
        Json::Value value(Json::objectValue);
        value["path"] = file.path;
        value["exists"] = file.exists;
        if (file.exists) {
            value["version"] = file.version;
            value["signer"] = file.signer;
            value["trusted"] = file.trusted;
            for (const std::string& name : file.missingExports) {
                value["missing_exports"].append(name);
            }
        }
        list.append(std::move(value));
    }
    return list;
}

Json::Value Login(const LoginFact& login) {
    Json::Value value(Json::objectValue);
    value["lt"] = login.seenAt;
    value["ls"] = login.state;
    return value;
}

Json::Value Switch(const SwitchFact& fact) {
    return fact.exists ? Json::Value(fact.value) : Json::Value(0u);
}

Json::Value Log(const LogFact& log) {
    Json::Value value(Json::objectValue);
    value["path"] = log.path;
    value["running"] = log.running;
    value["end"] = LogEndText(log.summary, log.running);
    value["last_line"] = log.summary.strLastText;
    value["open_requests"] = Json::UInt64(log.summary.openRequests.size());
    return value;
}

Json::Value Optional(const std::optional<std::uint32_t>& number) {
    return number ? Json::Value(*number) : Json::Value();
}

}  // namespace

std::string FindingsText(const std::vector<Finding>& findings) {
    std::string text;
    bool wrong = false;
    for (const Finding& finding : findings) {
        wrong = wrong || finding.isWrong;
        text += Paragraph(finding.isWrong ? "nexctl: wrong:" : "nexctl: note:",
                          "[" + std::string(finding.code) + "] " + finding.what);
        text += Paragraph("           do:", finding.advice);
    }
    return wrong ? text : text + "nexctl: nothing is wrong\n";
}

Json::Value DoctorReport(const DoctorFacts& facts, const std::vector<Finding>& findings) {
    Json::Value report(Json::objectValue);
    report["mark"] = facts.mark;
    report["service"] = facts.service;
    report["program"]["path"] = facts.program;
    report["program"]["exists"] = facts.programExists;
    report["mutex"]["name"] = facts.mutexName;
    report["mutex"]["exists"] = facts.mutexExists;
    if (facts.mutexDenied) {
        report["mutex"]["denied"] = true;
    }
    report["host_pipe"] = Pipe(facts.hostPipe);
    report["service_pipe"] = Pipe(facts.servicePipe);
    report["host_gate"] = Event(facts.hostGate);
    report["service_gate"] = Event(facts.serviceGate);
    report["ready_event"] = Event(facts.readyEvent);
    report["helpers"] = Json::Value(Json::arrayValue);
    for (const HelperFact& helper : facts.helpers) {
        Json::Value value(Json::objectValue);
        value["process_id"] = helper.processId;
        value["program"] = helper.program;
        value["mark"] = helper.mark;
        value["service"] = helper.service;
        report["helpers"].append(std::move(value));
    }
    report["installed"]["mini_program"] = facts.miniProgramInstalled;
    report["installed"]["wechat"] = facts.wechatInstalled;
    report["installed"]["yyb"] = facts.yybInstalled;
    report["wx_sdk"] = Files(facts.wxSdk);
    report["yyb_sdk"] = Files(facts.yybSdk);
    report["log"]["on"] = facts.LogIsOn();
    report["log"]["folder"] = facts.logFolder;
    report["log"]["files"] = Json::Value(Json::arrayValue);
    for (const std::string& log : facts.logs) {
        report["log"]["files"].append(log);
    }
    if (facts.log) {
        report["log"]["newest"] = Log(*facts.log);
    }
    report["registry"]["debug_log"] = Switch(facts.debugLog);
    report["registry"]["debug_modle"] = Switch(facts.debugModle);
    report["registry"]["last_info_time"] = Optional(facts.lastInfoTime);
    report["registry"]["app_shortcut_create"] = Optional(facts.shortcutCreate);
    report["registry"]["wx_login"] = Login(facts.wxLogin);
    report["registry"]["yyb_login"] = Login(facts.yybLogin);
    report["registry"]["identity"] = facts.identityKept;
    report["remote_config"]["age_seconds"] = facts.lastInfoTime && *facts.lastInfoTime <= facts.now
                                                 ? Json::Value(facts.now - *facts.lastInfoTime)
                                                 : Json::Value();
    report["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : findings) {
        Json::Value value(Json::objectValue);
        value["code"] = finding.code;
        value["wrong"] = finding.isWrong;
        value["what"] = finding.what;
        value["do"] = finding.advice;
        report["findings"].append(std::move(value));
    }
    return report;
}

Json::Value DoctorSummary(const DoctorFacts& facts, const std::vector<Finding>& findings) {
    Json::Value summary(Json::objectValue);
    summary["mark"] = facts.mark;
    summary["service"] = facts.service;
    summary["wrong"] = Json::Int64(std::ranges::count(findings, true, &Finding::isWrong));
    summary["notes"] = Json::Int64(std::ranges::count(findings, false, &Finding::isWrong));
    summary["codes"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : findings) {
        summary["codes"].append(finding.code);
    }
    return summary;
}
