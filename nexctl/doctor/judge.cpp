#include "nexctl/doctor/judge.h"

#include <algorithm>
#include <string_view>

#include "ipc/protocol/request_table.h"

namespace {

constexpr std::uint32_t kDaySeconds = 86400;
// The helper asks once a day; after a week something keeps it from doing so.
constexpr std::uint32_t kOldConfigurationSeconds = 7 * kDaySeconds;
// Clocks of the same machine may be set back a little.
constexpr std::uint32_t kFutureSeconds = 3600;
constexpr std::uint64_t kLeastDiskBytes = 1ull << 20;
// A request that is not answered for this long waits for another program.
constexpr std::int64_t kHungMs = 10000;
// Who looks for a start that was lost does so soon; later it is history.
constexpr std::uint64_t kLostStartSeconds = 600;

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string Seconds(std::int64_t ms) {
    return std::to_string(ms / 1000) + " s";
}

std::string Joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

bool SameName(const std::string& a, const std::string& b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

class CDiagnosis {
  public:
    explicit CDiagnosis(const DoctorFacts& facts) : m_facts(facts) {}

    std::vector<Finding> Make() {
        Rights();
        Helper();
        HostPipe();
        CallersPipe();
        Names();
        Sdks();
        LogSwitch();
        LostStart();
        LogText();
        Configuration();
        std::stable_sort(m_findings.begin(), m_findings.end(),
                         [](const Finding& a, const Finding& b) { return a.isWrong > b.isWrong; });
        return std::move(m_findings);
    }

  private:
    void Wrong(const char* code, std::string what, std::string advice) {
        m_findings.push_back({code, true, std::move(what), std::move(advice)});
    }
    void Note(const char* code, std::string what, std::string advice) {
        m_findings.push_back({code, false, std::move(what), std::move(advice)});
    }

    std::vector<const HelperFact*> OfMark() const {
        std::vector<const HelperFact*> own;
        for (const HelperFact& helper : m_facts.helpers) {
            if (helper.mark == m_facts.mark) {
                own.push_back(&helper);
            }
        }
        return own;
    }
    // A process whose command line cannot be read may be of any mark.
    bool SomeCannotBeRead() const {
        return std::ranges::any_of(m_facts.helpers, [](const HelperFact& helper) { return helper.mark.empty(); });
    }
    bool Runs() const { return m_facts.mutexExists && (!OfMark().empty() || SomeCannotBeRead()); }

    // Whether a helper runs or not: what a process with other rights holds keeps a start out, too.
    void Rights() {
        std::vector<std::string> names;
        if (m_facts.mutexDenied) {
            names.push_back(m_facts.mutexName);
        }
        for (const EventFact* event : {&m_facts.hostGate, &m_facts.serviceGate, &m_facts.readyEvent}) {
            if (event->denied) {
                names.push_back(event->name);
            }
        }
        if (!names.empty()) {
            Wrong("access.denied",
                  "this process may not open " + Joined(names) + ": a process with other rights has made it",
                  "run helper, caller and nexctl with the same rights, all of them elevated or none, and as one user");
        }
    }

    void Helper() {
        if (!m_facts.programExists) {
            Wrong("program.missing", "the helper's program " + m_facts.program + " is not there",
                  "give its path with --exe");
        }
        const auto own = OfMark();
        if (!m_facts.mutexExists) {
            Note("helper.none", "no helper of the mark " + Quoted(m_facts.mark) + " runs",
                 "\"nexctl start\" starts one");
        } else if (!m_facts.mutexDenied && own.empty() && !SomeCannotBeRead()) {
            Wrong("mutex.stranger",
                  "the mutex " + m_facts.mutexName + " exists, but no helper of the mark " + Quoted(m_facts.mark) +
                      " runs: every start takes itself for a second one and ends",
                  "another program holds the mutex; end it");
        }
        if (own.size() > 1) {
            Note("helper.many",
                 std::to_string(own.size()) + " processes have this mark: one serves, the others forward and end",
                 "look again in some seconds");
        }
        for (const HelperFact* helper : own) {
            if (helper->otherSession) {
                Note(
                    "helper.other-session",
                    "process " + std::to_string(helper->processId) +
                        " serves this mark in another session of this machine: names of pipes are one for all sessions",
                    "a start from this session makes a helper of its own, whose host's pipe may be taken: use another "
                    "mark for each session");
            }
            if (!helper->dialogs.empty()) {
                Wrong("dialog.open",
                      "process " + std::to_string(helper->processId) + " shows " +
                          std::to_string(helper->dialogs.size()) + " dialog(s), " + Quoted(helper->dialogs.front()) +
                          " for example, and waits for the user: a proxy asks for a password",
                      "answer the dialog, or set up the proxy of this user; transfers wait until then");
            }
        }
    }

    void HostPipe() {
        const PipeFact& pipe = m_facts.hostPipe;
        const bool served = pipe.state != PipeState::Missing;
        if (!Runs()) {
            if (served) {
                Wrong("host-pipe.squatted",
                      "the host's pipe " + pipe.name + " is served although no helper of this mark runs",
                      "another program has taken its name; the helper cannot listen while it does");
            }
            return;
        }
        if (!served) {
            Wrong("host-pipe.missing",
                  "a helper of this mark runs but does not listen on its own pipe: second starts and \"nexctl host\" "
                  "reach nobody",
                  "it was started without a service id, or a client came while it was not listening; end it and start "
                  "it again");
            return;
        }
        if (pipe.holder == PipeHolder::Stranger) {
            Wrong("host-pipe.squatted-running",
                  "a helper of this mark runs, but another program serves the host's pipe " + pipe.name +
                      ": second starts talk to that program",
                  "end the other program, then end the helper and start it again");
        }
        if (pipe.state == PipeState::Busy) {
            Wrong("host-pipe.busy",
                  "somebody stays connected to the host's pipe: a second start of this mark is lost meanwhile",
                  "a client that has had its answer has to close; find it and end it");
        }
        if (!m_facts.hostGate.exists) {
            Wrong("host-gate.missing", "the host's pipe is served without its gate event " + m_facts.hostGate.name,
                  "end the helper and start it again");
        }
    }

    void CallersPipe() {
        if (m_facts.service.empty()) {
            return;
        }
        const std::string service = Quoted(m_facts.service);
        switch (m_facts.servicePipe.state) {
            case PipeState::Missing:
                Note("caller-pipe.missing", "nobody serves the caller's pipe of the service " + service,
                     "a caller serves pipe and gate before it starts the helper; the helper looks once");
                return;
            case PipeState::Free:
                if (Runs()) {
                    Wrong("caller-pipe.unconnected",
                          "the caller's pipe of the service " + service +
                              " is served, but the helper is not connected to it",
                          "a service whose pipe was missing or lost is not tried again while it lives: send type 9 for "
                          "it on the host's pipe and wait for 12 seconds, or use another service id");
                }
                break;
            case PipeState::Busy:
                break;
        }
        if (!m_facts.serviceGate.exists) {
            Wrong("caller-gate.missing",
                  "the caller's pipe is served without its gate event " + m_facts.serviceGate.name,
                  "the caller makes it, manual-reset and signalled, before the pipe");
        } else if (!m_facts.serviceGate.signalled && !m_facts.serviceGate.denied) {
            Wrong("caller-gate.closed", "the gate of the caller's pipe is closed: every write waits a second for it",
                  "a writer sets the event after its write; one did not, or is just writing: look again");
        }
    }

    void Names() {
        for (const HelperFact& helper : m_facts.helpers) {
            const bool other = helper.mark != m_facts.mark && !helper.mark.empty();
            if (other && SameName(helper.hostPipe, m_facts.servicePipe.name)) {
                Wrong("names.shared",
                      "the caller's pipe of the mark " + Quoted(m_facts.mark) + " and the service " +
                          Quoted(m_facts.service) + " has the name of the host's pipe of the mark " +
                          Quoted(helper.mark) + ", process " + std::to_string(helper.processId),
                      "use another service id: mark and service id are joined by \"_\"");
            } else if (other && (SameName(helper.servicePipe, m_facts.hostPipe.name) ||
                                 SameName(helper.servicePipe, m_facts.servicePipe.name))) {
                Wrong("names.shared",
                      "the mark " + Quoted(helper.mark) + " with the service " + Quoted(helper.service) + ", process " +
                          std::to_string(helper.processId) + ", has the name of a pipe of the mark " +
                          Quoted(m_facts.mark),
                      "use another service id there: mark and service id are joined by \"_\"");
            }
        }
    }

    void SdkFile(const FileFact& file, const std::string& route) {
        const std::string named = file.path + (file.version.empty() ? "" : " (version " + file.version + ")");
        const char* const replace = "put the library's files of a fitting version beside the helper's folder";
        if (!file.exists) {
            Wrong("sdk.missing", file.path + " is missing: " + route, replace);
        } else if (file.mustBeLibrary && !file.isLibrary) {
            Wrong("sdk.broken", named + " is not a library, or is cut: " + route, replace);
        } else if (file.mustBeLibrary && !file.is64Bit) {
            Wrong("sdk.bitness", named + " is not for 64-bit programs: " + route, "put the 64-bit library there");
        } else if (file.mustBeSigned && !file.trusted) {
            Wrong("sdk.unsigned",
                  named +
                      (file.signer.empty() ? " has no signer"
                                           : " names " + Quoted(file.signer) + " as its signer, not the publisher") +
                      ": " + route,
                  replace);
        } else if (file.mustBeNew && !file.isNew) {
            Wrong("sdk.old", named + " is older than the helper needs, 1.0.345.0: " + route, replace);
        } else if (!file.missingExports.empty()) {
            Wrong("sdk.export", named + " does not export " + Joined(file.missingExports) + ": " + route, replace);
        }
    }

    void Sdks() {
        if (m_facts.miniProgramInstalled) {
            for (const FileFact& file : m_facts.wxSdk) {
                SdkFile(file, "opens of the type miniApp end with \"InitWxApi error\"");
            }
        } else {
            Note("mini-program.none",
                 "the mini-program application is not installed: opens of the type miniApp end with \"uninstalled\"",
                 "install it");
        }
        for (const FileFact& file : m_facts.yybSdk) {
            SdkFile(file, "opens of the type yyb end with \"InitYybApi error\"");
        }
        if (m_facts.yybSdk.empty()) {
            Note("yyb-sdk.none",
                 "the folder of the YYB library is not there: opens of the type yyb end with \"InitYybApi error\"",
                 "put it beside the helper's folder");
        }
    }

    void WrongSwitch(const char* name, const SwitchFact& fact) {
        if (fact.exists && !fact.isNumber && fact.value != 1) {
            Wrong("log.value-type",
                  std::string("the registry value ") + name + " is not a REG_DWORD: the log stays off",
                  "delete the value, then \"nexctl log on\"");
        }
    }

    void LogSwitch() {
        WrongSwitch("debug_log", m_facts.debugLog);
        WrongSwitch("debug_modle", m_facts.debugModle);
        if (!m_facts.LogIsOn()) {
            Note("log.off", "the log is off: a refused request leaves no trace",
                 "\"nexctl log on\", then start the helper again");
            return;
        }
        if (m_facts.logFolderIsFile) {
            Wrong("log.folder-is-file",
                  "the log is on, but " + m_facts.logFolder + " or the folder above it is a file: no log is written",
                  "delete that file");
        } else if (!m_facts.logFolderCanBeMade) {
            Wrong("log.no-parent",
                  "the log is on, but the folder above " + m_facts.logFolder + " is missing, so no file is written",
                  "\"nexctl log on\" makes it");
        } else if (m_facts.logDiskFree && *m_facts.logDiskFree < kLeastDiskBytes) {
            Wrong("log.disk-full",
                  "the log is on, but the disk of " + m_facts.logFolder + " has only " +
                      std::to_string(*m_facts.logDiskFree) + " bytes left: lines are lost",
                  "delete old logs there");
        }
    }

    void LostStart() {
        if (m_facts.lostStart && m_facts.lostStart->secondsAgo <= kLostStartSeconds) {
            Wrong("start.lost",
                  m_facts.lostStart->path + " is of a second start whose command line nobody took, " +
                      std::to_string(m_facts.lostStart->secondsAgo) + " s ago",
                  "the host's pipe was busy or missing; start again");
        }
    }

    void LogText() {
        if (!m_facts.log) {
            return;
        }
        const LogFact& log = *m_facts.log;
        const std::string path = log.path;
        switch (log.summary.end) {
            case LogEnd::Exception:
                Wrong("log.exception", path + " ends with an uncaught exception: " + log.summary.strException,
                      "a value of a kind that is not converted came in the last message; docs/refusals.md lists them");
                break;
            case LogEnd::HangWatch:
                Wrong("log.hang-watch", path + " ends with the hang watch: the helper's window did not answer",
                      "look at the lines before: an SDK or a dialog kept the main thread");
                break;
            case LogEnd::CpuWatch:
                Wrong("log.cpu-watch",
                      path + (log.running ? " says" : " ends with the CPU watch:") +
                          std::string(" the helper uses too much of the processor"),
                      "look at the SDK that is loaded, and at what callers ask for in a loop");
                break;
            default:
                break;
        }
        if (log.summary.end == LogEnd::NotTold && !log.running && m_facts.LogIsOn()) {
            Wrong("log.torn",
                  path + " ends in ordinary work" + (log.summary.bTorn ? ", in the middle of a line" : "") + ", with " +
                      Quoted(log.summary.strLastText.substr(0, 80)) + ": the process was killed or has crashed",
                  "look at its last lines with \"nexctl log show --text\"");
        }
        for (const OpenRequest& request : log.summary.openRequests) {
            if (log.running && log.silentMs + log.summary.nLastMs - request.nTimeMs >= kHungMs) {
                Wrong("request.open",
                      std::string("a request ") +
                          (request.nType != 0 ? MessageTypeName(request.nType) : "of a type that is not told") +
                          " that came at " + TimeOfDay(request.nTimeMs) + " has no reply since " +
                          Seconds(log.silentMs + log.summary.nLastMs - request.nTimeMs) + " (" + path + ")",
                      "it was refused without a line, or still waits for the SDK");
                break;
            }
        }
        if (log.summary.lastRefusal) {
            const LogLine& line = *log.summary.lastRefusal;
            Note("request.refused",
                 "the last refusal of this helper: " + Quoted(line.strText) + " in " + line.strFunction + " at " +
                     TimeOfDay(line.nTimeMs),
                 "docs/refusals.md says what it means");
        }
    }

    void Configuration() {
        const std::string from = m_facts.infoHost.empty() ? "" : " from " + m_facts.infoHost;
        if (!m_facts.lastInfoTime) {
            Note("config.never",
                 "the remote configuration was never fetched" + from + ", so no desktop shortcut is made",
                 "the helper asks once a day; its info host may be out of reach");
            return;
        }
        if (*m_facts.lastInfoTime > m_facts.now + kFutureSeconds) {
            Wrong(
                "config.future",
                "the remote configuration was fetched in the future, by the clock of today: it is not asked for again "
                "before",
                "set the clock, or delete the registry value last_info_time");
        } else if (m_facts.now > *m_facts.lastInfoTime &&
                   m_facts.now - *m_facts.lastInfoTime > kOldConfigurationSeconds) {
            Note("config.old",
                 "the remote configuration" + from + " is " +
                     std::to_string((m_facts.now - *m_facts.lastInfoTime) / kDaySeconds) + " days old",
                 "the helper asks once a day; its info host may be out of reach");
        }
        if (m_facts.shortcutCreate.value_or(1) != 1) {
            Note("config.no-shortcuts", "the remote configuration forbids desktop shortcuts: none is made",
                 "what the info host says counts; app_shortcut_create in docs/registry.md");
        }
    }

    const DoctorFacts& m_facts;
    std::vector<Finding> m_findings;
};

}  // namespace

std::vector<Finding> Diagnose(const DoctorFacts& facts) {
    return CDiagnosis(facts).Make();
}
