#include "nexctl/doctor.h"

#include <algorithm>
#include <string_view>

namespace {

// The helper asks once a day; after a week something keeps it from doing so.
constexpr std::uint32_t kOldConfigurationSeconds = 7 * 86400;

class CDiagnosis {
  public:
    explicit CDiagnosis(const DoctorFacts& facts) : m_facts(facts) {}

    std::vector<Finding> Make() {
        Helper();
        CallersPipe();
        Sdks();
        Log();
        Configuration();
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.isWrong > b.isWrong; });
        return std::move(m_findings);
    }

  private:
    void Wrong(std::string what, std::string advice) {
        m_findings.push_back({true, std::move(what), std::move(advice)});
    }
    void Note(std::string what, std::string advice) {
        m_findings.push_back({false, std::move(what), std::move(advice)});
    }
    bool Runs() const { return m_facts.mutexExists; }

    void Helper() {
        if (!m_facts.programExists) {
            Wrong("the helper's program " + m_facts.program + " is not there", "say where it lies with --exe");
        }
        if (!Runs()) {
            Note("no helper of the mark \"" + m_facts.mark + "\" runs", "\"nexctl start\" starts one");
            if (m_facts.hostPipe.state != PipeState::Missing) {
                Wrong("the host's pipe of this mark is served although no helper of it runs",
                      "another program has taken its name; the helper cannot listen while it does");
            }
            return;
        }
        const auto ofMark = std::count_if(m_facts.helpers.begin(), m_facts.helpers.end(),
                                          [&](const HelperFact& one) { return one.mark == m_facts.mark; });
        if (m_facts.hostPipe.state == PipeState::Missing) {
            Wrong(
                "a helper of this mark runs but does not listen on its own pipe: second starts and \"nexctl host\" "
                "reach nobody",
                "it was started without a service id, or a client came while it was not listening; end it and start "
                "it again");
        }
        if (m_facts.hostPipe.state != PipeState::Missing && !m_facts.hostGate.exists) {
            Wrong("the host's pipe stands without its gate event", "end the helper and start it again");
        }
        if (ofMark > 1) {
            Note(std::to_string(ofMark) + " processes carry this mark: one serves, the others forward and end",
                 "look again in some seconds");
        }
    }

    void CallersPipe() {
        const std::string service = "\"" + m_facts.service + "\"";
        switch (m_facts.servicePipe.state) {
            case PipeState::Missing:
                Note("nobody serves the caller's pipe of the service " + service,
                     "a caller serves pipe and gate before it starts the helper; the helper looks once");
                return;
            case PipeState::Free:
                if (Runs()) {
                    Wrong("the caller's pipe of the service " + service +
                              " is served, but the helper is not connected to it",
                          "a service whose pipe was missing or lost is not tried again while it lives: send type 9 for "
                          "it on the host's pipe and wait for 12 seconds, or use another service id");
                }
                break;
            case PipeState::Busy:
                break;
        }
        if (!m_facts.serviceGate.exists) {
            Wrong("the caller's pipe stands without its gate event " + m_facts.serviceGate.name,
                  "the caller makes it, manual-reset and signalled, before the pipe");
        } else if (!m_facts.serviceGate.signalled) {
            Wrong("the gate of the caller's pipe is closed: every write waits a second for it",
                  "whoever writes sets the event behind the write; somebody did not, or is just writing: look again");
        }
    }

    void Sdk(const std::vector<FileFact>& files, const char* route, const char* word) {
        for (const FileFact& file : files) {
            std::string wrong = !file.exists                         ? " is missing"
                                : file.mustBeSigned && !file.trusted ? " does not bear the publisher's name"
                                : file.mustBeNew && !file.isNew      ? " is older than the helper needs"
                                                                     : "";
            if (!wrong.empty()) {
                Wrong(file.path + wrong + ": opens of the type " + route + " end with \"" + word + "\"",
                      "put the library's files of a fitting version beside the helper's folder");
            }
        }
    }

    void Sdks() {
        if (m_facts.miniProgramInstalled) {
            Sdk(m_facts.wxSdk, "miniApp", "InitWxApi error");
        } else {
            Note("the mini-program application is not installed: opens of the type miniApp end with \"uninstalled\"",
                 "install it");
        }
        Sdk(m_facts.yybSdk, "yyb", "InitYybApi error");
        if (m_facts.yybSdk.empty()) {
            Note("the folder of the YYB library is not there: opens of the type yyb end with \"InitYybApi error\"",
                 "put it beside the helper's folder");
        }
    }

    void Log() {
        const bool on = m_facts.debugLog == 1 || m_facts.debugModle == 1;
        if (!on) {
            Note("the log is off: a refused request leaves no trace", "\"nexctl log on\", then start the helper anew");
        } else if (!m_facts.logFolderCanBeMade) {
            Wrong("the log is on, but the folder above " + m_facts.logFolder + " is missing, so no file is written",
                  "\"nexctl log on\" makes it");
        }
    }

    void Configuration() {
        if (!m_facts.lastInfoTime) {
            Note("the remote configuration has never come",
                 "the helper asks once a day; its info host may be out of reach");
        } else if (m_facts.now - *m_facts.lastInfoTime > kOldConfigurationSeconds) {
            Note("the remote configuration is " + std::to_string((m_facts.now - *m_facts.lastInfoTime) / 86400) +
                     " days old",
                 "the helper asks once a day; its info host may be out of reach");
        }
    }

    const DoctorFacts& m_facts;
    std::vector<Finding> m_findings;
};

// Text behind a head, broken at blanks and set in below itself. The widest head gives the column.
constexpr std::string_view kWidestHead = "nexctl: wrong: ";
constexpr std::size_t kLineWidth = 100;

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

Json::Value Optional(const std::optional<std::uint32_t>& number) {
    return number ? Json::Value(*number) : Json::Value();
}

}  // namespace

std::vector<Finding> Diagnose(const DoctorFacts& facts) {
    return CDiagnosis(facts).Make();
}

std::string FindingsText(const std::vector<Finding>& findings) {
    std::string text;
    bool wrong = false;
    for (const Finding& finding : findings) {
        wrong = wrong || finding.isWrong;
        text += Paragraph(finding.isWrong ? "nexctl: wrong:" : "nexctl: note:", finding.what);
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
        report["helpers"].append(std::move(value));
    }
    report["installed"]["mini_program"] = facts.miniProgramInstalled;
    report["installed"]["wechat"] = facts.wechatInstalled;
    report["installed"]["yyb"] = facts.yybInstalled;
    report["wx_sdk"] = Files(facts.wxSdk);
    report["yyb_sdk"] = Files(facts.yybSdk);
    report["log"]["on"] = facts.debugLog == 1 || facts.debugModle == 1;
    report["log"]["folder"] = facts.logFolder;
    report["log"]["files"] = Json::Value(Json::arrayValue);
    for (const std::string& log : facts.logs) {
        report["log"]["files"].append(log);
    }
    report["registry"]["debug_log"] = facts.debugLog;
    report["registry"]["debug_modle"] = facts.debugModle;
    report["registry"]["last_info_time"] = Optional(facts.lastInfoTime);
    report["registry"]["app_shortcut_create"] = Optional(facts.shortcutCreate);
    report["registry"]["wx_login"] = Login(facts.wxLogin);
    report["registry"]["yyb_login"] = Login(facts.yybLogin);
    report["registry"]["identity"] = facts.identityKept;
    report["remote_config"]["age_seconds"] =
        facts.lastInfoTime ? Json::Value(facts.now - *facts.lastInfoTime) : Json::Value();
    report["findings"] = Json::Value(Json::arrayValue);
    for (const Finding& finding : findings) {
        Json::Value value(Json::objectValue);
        value["wrong"] = finding.isWrong;
        value["what"] = finding.what;
        value["do"] = finding.advice;
        report["findings"].append(std::move(value));
    }
    return report;
}
