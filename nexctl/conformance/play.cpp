#include "nexctl/conformance/play.h"

#include <algorithm>
#include <memory>

#include "client/caller.h"
#include "client/host_pipe.h"
#include "foundation/text_helpers.h"
#include "tooling/exchange.h"

namespace {

constexpr DWORD kUncaughtException = 3;
// The helper takes 2 seconds of grace and up to 10 until its next look.
constexpr std::uint32_t kEndMs = 30000;
constexpr std::uint32_t kStartMs = 10000;
constexpr char kService[] = "conformance";
const char* const kProbe = R"({"content":{"p1":"{}","tag":"probe"},"message_type":7})";
const char* const kProbed = R"({"content":{"p1":{},"result":"not from","ret":"0","tag":"probe"},"message_type":13})";

std::string Filled(std::string text) {
    constexpr std::string_view kPlace = "{service}";
    for (std::size_t at = text.find(kPlace); at != std::string::npos; at = text.find(kPlace, at)) {
        text.replace(at, kPlace.size(), kService);
    }
    return text;
}

std::wstring OwnMark(int number) {
    return L"conformance" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(number);
}

std::string ChannelOf(const std::wstring& mark) {
    return MakeChannelText(mark, "conformance", 1, "conformance", "conformance");
}

std::string Difference(const std::string& expected, const std::vector<std::string>& any, const std::string& payload) {
    ExchangeFrame frame;
    frame.direction = FrameDirection::Received;
    frame.payload = expected;
    frame.any = any;
    return ExchangeDifference(frame, payload);
}

void Replace(std::string& text, std::string_view place, const std::string& with) {
    const std::size_t at = text.find(place);
    if (at != std::string::npos) {
        text.replace(at, place.size(), with);
    }
}

// The switches of a rule with the names in braces replaced.
std::string Switches(const Rule& rule, const std::wstring& mark) {
    std::string text = Filled(rule.sent);
    Replace(text, "{mark}", Utf16ToUtf8(mark));
    Replace(text, "{channel}", Base64Encode(ChannelOf(mark)));
    constexpr std::string_view kBegin = "{base64:";
    const std::size_t begin = text.find(kBegin);
    if (begin != std::string::npos) {
        // Nothing comes after it in a rule.
        const std::size_t end = text.rfind('}');
        const std::size_t from = begin + kBegin.size();
        text.replace(begin, end + 1 - begin, Base64Encode(text.substr(from, end - from)));
    }
    return text;
}

// A start with a command line of its own; what is wrong, or nothing.
std::string PlayStart(const PlaySettings& settings, const Rule& rule, int number) {
    const std::wstring mark = OwnMark(number);
    CCaller caller(mark, kService);
    CallerResult result = caller.Open();
    StartedProcess process;
    DWORD systemError = 0;
    if (result == CallerResult::Ok) {
        result = StartProgram(settings.program, L"\"" + settings.program + L"\" " + Utf8ToUtf16(Switches(rule, mark)),
                              process, systemError);
    }
    if (result != CallerResult::Ok) {
        return std::string("no helper: ") + DescribeCallerResult(result);
    }
    const std::uint32_t timeoutMs = std::max(settings.timeoutMs, kStartMs);
    std::string wrong;
    const std::string expected = Filled(rule.reply);
    for (std::size_t at = 0; at < expected.size() && wrong.empty();) {
        const std::size_t end = expected.find('\n', at);
        ReceivedFrame frame;
        result = caller.WaitForFrame(0, timeoutMs, frame);
        wrong = result == CallerResult::Ok ? Difference(expected.substr(at, end - at), {}, frame.strPayload)
                                           : DescribeCallerResult(result);
        at = end + 1;
    }
    DWORD exitCode = STILL_ACTIVE;
    if (rule.exitCode && wrong.empty()) {
        if (WaitForSingleObject(process.hProcess.get(), timeoutMs) != WAIT_OBJECT_0) {
            wrong = "the process has not ended";
        } else if (GetExitCodeProcess(process.hProcess.get(), &exitCode) == FALSE || exitCode != *rule.exitCode) {
            wrong = "the exit code is " + std::to_string(exitCode);
        }
    } else if (wrong.empty()) {
        // It continues to serve.
        ReceivedFrame frame;
        result = caller.SendPayload(kProbe, settings.timeoutMs);
        result = result == CallerResult::Ok ? caller.WaitForFrame(0, settings.timeoutMs, frame) : result;
        wrong = result == CallerResult::Ok ? Difference(kProbed, {}, frame.strPayload) : DescribeCallerResult(result);
    }
    caller.Close();
    TerminateProcess(process.hProcess.get(), 0);
    WaitForSingleObject(process.hProcess.get(), kEndMs);
    return wrong;
}

// One helper under a mark of its own.
class CSession {
  public:
    CSession(const PlaySettings& settings, int number)
        : m_timeoutMs(settings.timeoutMs), m_mark(OwnMark(number)), m_caller(m_mark, kService) {
        HelperStart start;
        start.strExe = settings.program;
        start.strChannel = ChannelOf(m_mark);
        CallerResult result = m_caller.Open();
        if (result == CallerResult::Ok) {
            result = m_caller.StartHelper(std::move(start));
        }
        if (result == CallerResult::Ok) {
            m_process.reset(OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, m_caller.ProcessId()));
            result = m_caller.WaitForFrame(0, std::max(m_timeoutMs, kStartMs), m_notice);
        }
        if (result != CallerResult::Ok) {
            m_problem = std::string("no helper: ") + DescribeCallerResult(result);
        }
    }
    ~CSession() {
        m_caller.Close();
        if (m_process) {
            TerminateProcess(m_process.get(), 0);
            WaitForSingleObject(m_process.get(), kEndMs);
        }
    }
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    // Why the session cannot be used; empty as long as it can.
    const std::string& Problem() const { return m_problem; }
    bool Connected() const { return m_problem.empty() && m_caller.Connected(); }

    // What is wrong; empty when the rule is kept.
    std::string Play(const Rule& rule) {
        if (!m_problem.empty()) {
            return m_problem;
        }
        const std::string sent = Filled(rule.sent);
        const std::string reply = Filled(rule.reply);
        switch (rule.kind) {
            case RuleKind::Ready:
                return Difference(reply, rule.any, m_notice.strPayload);
            case RuleKind::Answer:
                return After(m_caller.SendPayload(sent, m_timeoutMs), reply, rule.any);
            case RuleKind::Bytes:
                return After(m_caller.SendBytes(sent, m_timeoutMs), reply, rule.any);
            case RuleKind::Silence:
                m_caller.SendPayload(sent, m_timeoutMs);
                return After(m_caller.SendPayload(kProbe, m_timeoutMs), kProbed, {});
            case RuleKind::Ends:
                // The helper may be gone before it has taken the last byte.
                m_caller.SendPayload(sent, m_timeoutMs);
                return End(kUncaughtException, m_timeoutMs);
            case RuleKind::HostReply:
            case RuleKind::HostQuiet:
            case RuleKind::HostServes:
                return PlayHost(rule, sent, reply);
            case RuleKind::Exchange:
                return PlayExchange(rule.sent);
            case RuleKind::Start:
                break;
            case RuleKind::Leave:
                m_caller.SendPayload(sent, m_timeoutMs);
                return End(0, std::max(m_timeoutMs, kEndMs));
        }
        return {};
    }

  private:
    std::string After(CallerResult sent, const std::string& reply, const std::vector<std::string>& any) {
        ReceivedFrame frame;
        const CallerResult result = sent == CallerResult::Ok ? m_caller.WaitForFrame(0, m_timeoutMs, frame) : sent;
        return result == CallerResult::Ok ? Difference(reply, any, frame.strPayload) : DescribeCallerResult(result);
    }

    std::string End(DWORD expected, std::uint32_t timeoutMs) {
        DWORD exitCode = 0;
        const CallerResult result = m_caller.WaitForProcessEnd(timeoutMs, exitCode);
        m_problem = "the process was to end";
        if (result != CallerResult::Ok) {
            return std::string("the process has not ended: ") + DescribeCallerResult(result);
        }
        return exitCode == expected ? "" : "the exit code is " + std::to_string(exitCode);
    }

    std::string PlayHost(const Rule& rule, const std::string& sent, const std::string& reply) {
        CallerResult result = CallerResult::Ok;
        if (!m_host.IsConnected()) {
            DWORD systemError = 0;
            result = m_host.Connect(m_mark, m_timeoutMs, systemError);
        }
        if (result == CallerResult::Ok) {
            result = m_host.SendPayload(sent, m_timeoutMs);
        }
        if (result == CallerResult::Ok && rule.kind == RuleKind::HostServes) {
            return After(result, reply, rule.any);
        }
        if (result == CallerResult::Ok && rule.kind == RuleKind::HostQuiet) {
            result = m_host.SendPayload(R"({"content":"no switches","message_type":1})", m_timeoutMs);
        }
        std::string answer;
        if (result == CallerResult::Ok) {
            result = m_host.WaitForPayload(m_timeoutMs, answer);
        }
        if (result == CallerResult::Ok && answer == reply) {
            return {};
        }
        // A late answer is not taken for the next rule's.
        m_host.Close();
        return result != CallerResult::Ok ? DescribeCallerResult(result) : "\"" + answer + "\" came";
    }

    std::string PlayExchange(const std::string& text) {
        Exchange exchange;
        std::string problem;
        if (!ReadExchange(text, exchange, problem)) {
            return problem;
        }
        exchange = MoveExchange(exchange, Utf16ToUtf8(m_mark), kService);
        // The notice has been taken.
        for (std::size_t at = 1; at < exchange.frames.size(); ++at) {
            ExchangeFrame frame = exchange.frames[at];
            // The caller's side drops frames with the number of a call here.
            for (std::size_t key = frame.payload.find(kCallKey); key != std::string::npos;
                 key = frame.payload.find(kCallKey)) {
                frame.payload.replace(key, std::string_view(kCallKey).size(), "tag");
            }
            if (frame.direction == FrameDirection::Sent) {
                m_caller.SendPayload(frame.payload, m_timeoutMs);
                continue;
            }
            ReceivedFrame received;
            CallerResult result = m_caller.WaitForFrame(0, m_timeoutMs, received);
            while (result == CallerResult::Ok && IsLoading(received.strPayload) && !IsLoading(frame.payload)) {
                m_caller.SendPayload(Tagged(exchange.frames[at - 1].payload), m_timeoutMs);
                result = m_caller.WaitForFrame(0, m_timeoutMs, received);
            }
            if (result != CallerResult::Ok) {
                return "frame " + std::to_string(at + 1) + ": " + DescribeCallerResult(result);
            }
            // What is installed differs from machine to machine.
            if (received.nType == 13 && frame.payload.find("mini_wx_inst") != std::string::npos) {
                frame.any.emplace_back("result");
            }
            const std::string difference = Difference(frame.payload, frame.any, received.strPayload);
            if (!difference.empty()) {
                return "frame " + std::to_string(at + 1) + ": " + difference;
            }
        }
        return {};
    }

    static std::string Tagged(std::string payload) {
        const std::size_t key = payload.find(kCallKey);
        return key == std::string::npos ? payload : payload.replace(key, std::string_view(kCallKey).size(), "tag");
    }

    const std::uint32_t m_timeoutMs;
    const std::wstring m_mark;
    CCaller m_caller;
    // One connection for all rules: a client that comes soon after another may stop the host from listening.
    CHostPipe m_host;
    CKernelHandle m_process;
    ReceivedFrame m_notice;
    std::string m_problem;
};

}  // namespace

std::vector<RuleResult> PlayRules(const PlaySettings& settings, const std::function<void(const RuleResult&)>& told) {
    std::vector<RuleResult> results;
    std::unique_ptr<CSession> session;
    int sessions = 0;
    for (const Rule& rule : AllRules()) {
        if (!rule.id.starts_with(settings.only)) {
            continue;
        }
        RuleResult result;
        result.rule = &rule;
        if (rule.world.empty() ? settings.worldAlone
                               : std::ranges::find(settings.worlds, rule.world) == settings.worlds.end()) {
            result.detail = rule.world.empty() ? "is not for this world" : "needs the world \"" + rule.world + "\"";
        } else if (rule.kind == RuleKind::Start) {
            session.reset();
            result.detail = PlayStart(settings, rule, ++sessions);
            result.outcome = result.detail.empty() ? RuleOutcome::Kept : RuleOutcome::Broken;
        } else {
            // The host's rules have made services, which keep a process.
            const bool alone =
                rule.kind == RuleKind::Ends || rule.kind == RuleKind::Exchange || rule.kind == RuleKind::Leave;
            if (session == nullptr || alone || !session->Connected()) {
                session.reset();
                session = std::make_unique<CSession>(settings, ++sessions);
            }
            result.detail = session->Play(rule);
            result.outcome = result.detail.empty() ? RuleOutcome::Kept : RuleOutcome::Broken;
        }
        told(result);
        results.push_back(std::move(result));
    }
    return results;
}
