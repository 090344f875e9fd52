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

// One helper under a mark of its own.
class CSession {
  public:
    CSession(const PlaySettings& settings, int number)
        : m_timeoutMs(settings.timeoutMs),
          m_mark(L"conformance" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(number)),
          m_caller(m_mark, kService) {
        HelperStart start;
        start.strExe = settings.program;
        start.strChannel = MakeChannelText(m_mark, "conformance", 1, "conformance", "conformance");
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
            case RuleKind::Leave:
                m_caller.SendPayload(sent, m_timeoutMs);
                return End(0, std::max(m_timeoutMs, kEndMs));
        }
        return {};
    }

  private:
    static std::string Difference(const std::string& expected, const std::vector<std::string>& any,
                                  const std::string& payload) {
        ExchangeFrame frame;
        frame.direction = FrameDirection::Received;
        frame.payload = expected;
        frame.any = any;
        return ExchangeDifference(frame, payload);
    }

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
        CHostPipe host;
        DWORD systemError = 0;
        CallerResult result = host.Connect(m_mark, m_timeoutMs, systemError);
        if (result == CallerResult::Ok) {
            result = host.SendPayload(sent, m_timeoutMs);
        }
        if (result == CallerResult::Ok && rule.kind == RuleKind::HostServes) {
            return After(result, reply, rule.any);
        }
        if (result == CallerResult::Ok && rule.kind == RuleKind::HostQuiet) {
            result = host.SendPayload(R"({"content":"no switches","message_type":1})", m_timeoutMs);
        }
        std::string answer;
        if (result == CallerResult::Ok) {
            result = host.WaitForPayload(m_timeoutMs, answer);
        }
        return result != CallerResult::Ok ? DescribeCallerResult(result)
               : answer == reply          ? ""
                                          : "\"" + answer + "\" came";
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
        if (rule.needsWorld && !settings.hasWorld) {
            result.detail = "needs an SDK that answers: --world";
        } else {
            const bool alone = rule.kind == RuleKind::Ends || rule.kind == RuleKind::Exchange;
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
