#include "nexctl/log_timeline.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "ipc/protocol/request_table.h"

namespace {

constexpr const char* kLaneNames[] = {
    "main thread", "host pipe",      "caller's pipe",    "transfer worker", "hang watch", "CPU watch",  "configuration",
    "pipe watch",  "follow an open", "end of a service", "loading window",  "shortcut",   "any thread",
};
enum Lane : std::size_t {
    kMain,
    kHostPipe,
    kCallerPipe,
    kTransfer,
    kHang,
    kCpu,
    kConfiguration,
    kPipeWatch,
    kFollow,
    kEndLater,
    kWindow,
    kShortcut,
    kAny,
    kLaneCount,
};
static_assert(std::size(kLaneNames) == kLaneCount);

// The thread of a connection reads on once it has handled what it read.
constexpr std::string_view kReadsOn = "CClientContext::PostRead";

// The beginning of a function's name, and the one thread that runs it.
constexpr struct {
    std::string_view function;
    Lane lane;
} kFunctions[] = {
    {"wWinMain", kMain},
    {"WindowProc", kMain},
    {"ExistzoltExcute", kMain},
    {"CPipeClientCallback2::", kMain},
    {"CommzoltHelperS::OnTimer", kMain},
    // The parts of it, and of the hang watch below, as logs of earlier builds name them.
    {"CommzoltHelperS::OnCheckExit", kMain},
    {"CommzoltHelperS::OnCheckTimeout", kMain},
    {"CommzoltHelperS::OnUpdateStatus", kMain},
    {"CommzoltHelperS::PruneInstances", kMain},
    {"CommzoltHelperS::InitMsgWnd", kMain},
    {"CommzoltHelperS::InitZOLTSIPC", kMain},
    {"CommzoltHelperS::InitHangWatcherThread", kMain},
    {"CommzoltHelperS::InitMonCPUUsageThread", kMain},
    {"CommzoltHelperS::InitConfInfoThread", kMain},
    {"CPipeServerCallback::", kHostPipe},
    {"CommzoltHelperS::ReceiveIPCMessage", kHostPipe},
    {"CPipeClientCallback::", kCallerPipe},
    {kReadsOn, kCallerPipe},
    {"CClientContext::OnWriteBuffer", kCallerPipe},
    {"COvHttpTransfer::", kTransfer},
    {"HangWatcherThreadFunc", kHang},
    {"RunHangWatch", kHang},
    {"MonCPUUsageThreadFunc", kCpu},
    {"CalculateCpuUsage", kCpu},
    {"ConfInfoThreadFunc", kConfiguration},
    {"HttpContextText", kConfiguration},
    {"ParseInfo", kConfiguration},
    {"CheckzoltDLLThread", kPipeWatch},
    {"DelayCheckWndThread", kFollow},
    {"DelayedDestroyThread", kEndLater},
    {"HttpResponseCallback", kFollow},
    {"WX_CLIENT::PopWxLoadingWnd", kWindow},
    {"CWxLoadingWnd::", kWindow},
    {"WX_CLIENT::CreateAppShortcut", kShortcut},
    {"CosOp::", kShortcut},
    // Behind the longer name: the first that fits is taken.
    {"HttpDownloadFile", kShortcut},
    {"HttpDownload", kWindow},
};

std::optional<Lane> LaneOfFunction(std::string_view function) {
    for (const auto& one : kFunctions) {
        if (function.starts_with(one.function)) {
            return one.lane;
        }
    }
    return std::nullopt;
}

bool NeedsNoReply(int nType) {
    return nType != 0 && ReplyTypeOf(nType) == 0;
}

bool IsArrival(const LogLine& line) {
    return line.strText == "ReceiveIPCMessage begin";
}

// The payload in "ReceiveIPCMessage szMessage=...", null for other lines.
std::optional<std::string> ReceivedMessage(const LogLine& line) {
    constexpr std::string_view kHead = "ReceiveIPCMessage szMessage=";
    return line.strText.starts_with(kHead) ? std::optional<std::string>(line.strText.substr(kHead.size()))
                                           : std::nullopt;
}

// The library's number of a call in a payload, as the text after its key; empty without one.
std::string CallOf(std::string_view payload) {
    constexpr std::string_view kKey = "\"nexlet_call\":";
    const std::size_t at = payload.find(kKey);
    if (at == std::string_view::npos) {
        return {};
    }
    std::string number;
    for (const char c : payload.substr(at + kKey.size())) {
        if (c < '0' || c > '9') {
            break;
        }
        number += c;
    }
    return number;
}

// The type of the requests that a handler serves, by the last name of its function; 0 for all other functions.
int TypeOfHandler(std::string_view function) {
    constexpr struct {
        std::string_view name;
        int type;
    } kHandlers[] = {{"GetWxAppStatus", 2},      {"GetWxAppStatusEncrypt", 3}, {"GetWxAppQIMEI", 4},
                     {"GetRSAEncrypt", 5},       {"OpenMiniApp", 6},           {"OpenMiniAppSuccessfully", 7},
                     {"DelayCheckWndStatus", 8}, {"DestroyWxServiceItme", 9}};
    const std::string_view last = function.substr(function.rfind(':') + 1);
    for (const auto& handler : kHandlers) {
        if (handler.name == last) {
            return handler.type;
        }
    }
    return 0;
}

// The type in "Type=13, Message=...", 0 for other lines.
int SentType(const LogLine& line) {
    constexpr std::string_view kHead = "Type=";
    if (!line.strText.starts_with(kHead)) {
        return 0;
    }
    return std::atoi(line.strText.c_str() + kHead.size());
}

// The type of an arrival line such as "receive MessageType::S_MT_GetWxAppStatus", 0 for other lines.
int ReceivedType(const LogLine& line) {
    if (!line.strText.starts_with("receive ")) {
        return 0;
    }
    const std::size_t from = line.strText.find_last_of(": ") + 1;
    for (int type = 1; type <= 9; ++type) {
        if (line.strText.substr(from) == MessageTypeName(type)) {
            return type;
        }
    }
    return 0;
}

MarkKind KindOf(const LogLine& line) {
    const std::string& text = line.strText;
    if (IsRefusal(line)) {
        return MarkKind::Refusal;
    }
    if (text.starts_with("Report: ") || text.starts_with("successLog url=") || text.starts_with("errorLog url=")) {
        return MarkKind::Beacon;
    }
    if (text == "create timer" || text.starts_with("OnTimer ") || text.starts_with("Automatic recording") ||
        text == "Check procee exit begin" || text == "Check timeout, exit process begin" ||
        text == "update zolt status") {
        return MarkKind::Timer;
    }
    return MarkKind::Line;
}

// The word in front of " begin" or of " end", when the text is made like that.
std::string WordBefore(const std::string& text, std::string_view what) {
    const std::size_t at = text.find(what);
    if (at == std::string::npos || at == 0 || text.find(' ') != at) {
        return {};
    }
    const std::size_t after = at + what.size();
    return after == text.size() || text[after] == ',' || text[after] == ' ' ? text.substr(0, at) : std::string();
}

// Walks a run's lines once and puts each where it belongs.
class CBuilder {
  public:
    explicit CBuilder(std::vector<LogLine> lines) { m_timeline.lines = std::move(lines); }

    Timeline Build() {
        for (std::size_t at = 0; at < m_timeline.lines.size(); ++at) {
            const LogLine& line = m_timeline.lines[at];
            const Lane lane = LaneOf(at);
            TakeRequest(at, lane);
            TakeBeginAndEnd(at, lane);
            m_lanes[lane].marks.push_back({KindOf(line), at});
            m_timeline.laneOf.push_back(lane);
        }
        CloseWhatIsOpen();
        DropEmptyLanes();
        return std::move(m_timeline);
    }

  private:
    // A request without its end so far.
    struct Open {
        Lane lane;
        std::size_t nSpan = 0;
    };

    const LogLine& Line(std::size_t at) const { return m_timeline.lines[at]; }

    Lane LaneOf(std::size_t at) const {
        if (const auto lane = LaneOfFunction(Line(at).strFunction)) {
            return *lane;
        }
        // Start-up runs on the main thread until the loop does; the request under way has the rest.
        const bool early =
            !m_bServing && (Line(at).strFunction.empty() || Line(at).strFunction.starts_with("CommzoltHelperS::") ||
                            Line(at).strFunction.starts_with("WxMiniProgramServiceEx::"));
        if (early) {
            return kMain;
        }
        for (const Lane lane : {kCallerPipe, kHostPipe}) {
            if (std::ranges::any_of(m_open, [lane](const Open& one) { return one.lane == lane; })) {
                return lane;
            }
        }
        return kAny;
    }

    TimelineSpan& SpanOf(const Open& one) { return m_lanes[one.lane].spans[one.nSpan]; }

    void End(const Open& one, std::size_t at, std::string outcome, bool bServed) {
        TimelineSpan& span = SpanOf(one);
        span.nLastLine = at;
        span.bOpen = false;
        span.bServed = bServed;
        span.strOutcome = std::move(outcome);
        std::erase_if(m_open, [&](const Open& other) { return other.lane == one.lane && other.nSpan == one.nSpan; });
    }

    void EndWithoutReply(const Open& one, std::size_t at) {
        const bool bNoneDue = NeedsNoReply(SpanOf(one).nType);
        End(one, at, bNoneDue ? "no reply is due" : "no reply", bNoneDue);
    }

    // The open requests for which fits holds, the oldest first.
    template <typename Fits>
    std::vector<Open> OpenWhere(Fits fits) {
        std::vector<Open> found;
        std::ranges::copy_if(m_open, std::back_inserter(found),
                             [&](const Open& one) { return fits(one, SpanOf(one)); });
        return found;
    }

    // The requests of one connection come one after the other. Those of several services are on one lane, and the log
    // does not tell them apart by itself.
    bool OneConnection(Lane lane) const { return lane == kHostPipe || m_nServices <= 1; }

    void TakeArrival(std::size_t at, Lane lane) {
        m_bServing = true;
        if (OneConnection(lane)) {
            for (const Open& one : OpenWhere([&](const Open&open, const TimelineSpan&) { return open.lane == lane; })) {
                EndWithoutReply(one, LastOf(lane));
            }
        }
        m_open.push_back({lane, m_lanes[lane].spans.size()});
        TimelineSpan span;
        span.strName = "message";
        span.bRequest = true;
        span.bOpen = true;
        span.nFirstLine = span.nLastLine = at;
        m_lanes[lane].spans.push_back(std::move(span));
    }

    void TakeType(int type, Lane lane) {
        const std::string written = "\"message_type\":" + std::to_string(type);
        auto unnamed =
            OpenWhere([&](const Open& one, const TimelineSpan& span) { return one.lane == lane && span.nType == 0; });
        const auto fitting = std::ranges::find_if(
            unnamed, [&](const Open& one) { return SpanOf(one).strMessage.find(written) != std::string::npos; });
        if (!unnamed.empty()) {
            TimelineSpan& span = SpanOf(fitting != unnamed.end() ? *fitting : unnamed.front());
            span.nType = type;
            span.strName = MessageTypeName(type);
        }
    }

    // A refusal belongs to the one open request that its function handles. Where several could be meant it ends none.
    void TakeRefusal(std::size_t at, Lane lane) {
        const std::string_view function = Line(at).strFunction;
        const int type = TypeOfHandler(function);
        // The host's exit handler serves both pipes. Earlier builds name the common part of the others, not the
        // handler.
        const bool bByHost = function.starts_with("CommzoltHelperS::HandleRequest") ||
                             (type != 0 && type != 9 && function.starts_with("CommzoltHelperS::"));
        const auto meant = OpenWhere([&](const Open& one, const TimelineSpan& span) {
            return bByHost     ? one.lane == kHostPipe && (type == 0 || span.nType == type)
                   : type != 0 ? span.nType == type
                               : one.lane == lane && span.nType == 0 && IsPipe(LaneOfFunction(function));
        });
        if (meant.size() == 1) {
            End(meant.front(), at, "refused: " + Line(at).strText, false);
        }
    }

    static bool IsPipe(std::optional<Lane> lane) { return lane == kCallerPipe || lane == kHostPipe; }

    void TakeReply(std::size_t at, int sent) {
        const auto due =
            OpenWhere([&](const Open&, const TimelineSpan& span) { return ReplyTypeOf(span.nType) == sent; });
        const std::string call = CallOf(Line(at).strText);
        const auto same =
            std::ranges::find_if(due, [&](const Open& one) { return CallOf(SpanOf(one).strMessage) == call; });
        if (!due.empty()) {
            End(same != due.end() ? *same : due.front(), at, "replied with type " + std::to_string(sent), true);
        }
    }

    void TakeRequest(std::size_t at, Lane lane) {
        const LogLine& line = Line(at);
        if (line.strText.starts_with("Init m_strMark=")) {
            ++m_nServices;
        }
        if (IsArrival(line) && IsPipe(lane)) {
            TakeArrival(at, lane);
        } else if (auto message = ReceivedMessage(line); message && IsPipe(lane)) {
            for (const Open& one : OpenWhere([&](const Open&open, const TimelineSpan&span) {
                     return open.lane == lane && span.nType == 0 && span.strMessage.empty();
                 })) {
                SpanOf(one).strMessage = std::move(*message);
                break;
            }
        } else if (const int type = ReceivedType(line); type != 0 && IsPipe(lane)) {
            TakeType(type, lane);
        } else if (IsRefusal(line)) {
            TakeRefusal(at, lane);
        } else if (const int sent = SentType(line); sent != 0) {
            TakeReply(at, sent);
        } else if (line.strFunction == kReadsOn) {
            const auto due = OpenWhere([&](const Open& one, const TimelineSpan& span) {
                return one.lane == lane && NeedsNoReply(span.nType);
            });
            if (!due.empty()) {
                EndWithoutReply(due.front(), LastOf(lane));
            }
        }
    }

    // The last line of a lane so far.
    std::size_t LastOf(Lane lane) const { return m_lanes[lane].marks.empty() ? 0 : m_lanes[lane].marks.back().nLine; }

    void TakeBeginAndEnd(std::size_t at, Lane lane) {
        if (IsArrival(Line(at)) || Line(at).strText.starts_with("SendIPCMessage")) {
            return;
        }
        if (const std::string name = WordBefore(Line(at).strText, " begin"); !name.empty()) {
            TimelineSpan span;
            span.strName = name;
            span.bOpen = true;
            span.nFirstLine = span.nLastLine = at;
            m_lanes[lane].spans.push_back(std::move(span));
        } else if (const std::string ended = WordBefore(Line(at).strText, " end"); !ended.empty()) {
            auto& spans = m_lanes[lane].spans;
            const auto found = std::find_if(spans.rbegin(), spans.rend(), [&](const TimelineSpan& one) {
                // A line may end its function under another's name.
                return one.bOpen && !one.bRequest &&
                       (one.strName == ended || Line(one.nFirstLine).strFunction == Line(at).strFunction);
            });
            if (found != spans.rend()) {
                found->nLastLine = at;
                found->bOpen = false;
            }
        }
    }

    void CloseWhatIsOpen() {
        if (m_timeline.lines.empty()) {
            return;
        }
        const std::size_t last = m_timeline.lines.size() - 1;
        for (const Open& one : std::vector<Open>(m_open)) {
            if (NeedsNoReply(SpanOf(one).nType)) {
                EndWithoutReply(one, std::max(SpanOf(one).nFirstLine, LastOf(one.lane)));
            } else {
                SpanOf(one).strOutcome = "no reply";
            }
        }
        for (TimelineLane& lane : m_lanes) {
            for (TimelineSpan& span : lane.spans) {
                if (span.bOpen) {
                    span.nLastLine = last;
                }
            }
        }
    }

    void DropEmptyLanes() {
        std::array<std::size_t, kLaneCount> places{};
        for (std::size_t lane = 0; lane < kLaneCount; ++lane) {
            if (m_lanes[lane].marks.empty()) {
                continue;
            }
            places[lane] = m_timeline.lanes.size();
            m_lanes[lane].strName = kLaneNames[lane];
            m_timeline.lanes.push_back(std::move(m_lanes[lane]));
        }
        for (std::size_t& lane : m_timeline.laneOf) {
            lane = places[lane];
        }
    }

    Timeline m_timeline;
    std::array<TimelineLane, kLaneCount> m_lanes;
    std::vector<Open> m_open;  // in the order of their arrivals
    int m_nServices = 0;       // how many the log tells of
    bool m_bServing = false;
};

}  // namespace

int CountRuns(const std::vector<LogLine>& lines) {
    int runs = 0;
    for (const LogLine& line : lines) {
        runs = std::max(runs, line.nRun + 1);
    }
    return runs;
}

Timeline BuildTimeline(const std::vector<LogLine>& lines, int nRun) {
    std::vector<LogLine> own;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(own),
                 [nRun](const LogLine& line) { return line.nRun == nRun; });
    return CBuilder(std::move(own)).Build();
}
