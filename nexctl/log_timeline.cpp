#include "nexctl/log_timeline.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "ipc/message_type.h"

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
    const std::size_t behind = at + what.size();
    return behind == text.size() || text[behind] == ',' || text[behind] == ' ' ? text.substr(0, at) : std::string();
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
    struct OpenRequest {
        bool bOpen = false;
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
            if (m_requests[lane].bOpen) {
                return lane;
            }
        }
        return kAny;
    }

    TimelineSpan& RequestOf(Lane lane) { return m_lanes[lane].spans[m_requests[lane].nSpan]; }

    void EndRequest(Lane lane, std::size_t at, std::string outcome, bool bServed) {
        TimelineSpan& span = RequestOf(lane);
        span.nLastLine = at;
        span.bOpen = false;
        span.bServed = bServed;
        span.strOutcome = std::move(outcome);
        m_requests[lane].bOpen = false;
    }

    void EndUnanswered(Lane lane, std::size_t at) {
        const bool bNoneDue = NeedsNoReply(RequestOf(lane).nType);
        EndRequest(lane, at, bNoneDue ? "no reply is due" : "no reply", bNoneDue);
    }

    void TakeRequest(std::size_t at, Lane lane) {
        if (IsArrival(Line(at)) && (lane == kCallerPipe || lane == kHostPipe)) {
            m_bServing = true;
            if (m_requests[lane].bOpen) {
                EndUnanswered(lane, LastOf(lane));
            }
            m_requests[lane] = {true, m_lanes[lane].spans.size()};
            TimelineSpan span;
            span.strName = "message";
            span.bRequest = true;
            span.bOpen = true;
            span.nFirstLine = span.nLastLine = at;
            m_lanes[lane].spans.push_back(std::move(span));
            return;
        }
        for (const Lane one : {kCallerPipe, kHostPipe}) {
            if (!m_requests[one].bOpen) {
                continue;
            }
            TimelineSpan& span = RequestOf(one);
            if (const int type = ReceivedType(Line(at)); type != 0 && lane == one) {
                span.nType = type;
                span.strName = MessageTypeName(type);
            } else if (IsRefusal(Line(at)) && lane == one) {
                EndRequest(one, at, "refused: " + Line(at).strText, false);
            } else if (const int sent = SentType(Line(at)); sent != 0 && sent == ReplyTypeOf(span.nType)) {
                EndRequest(one, at, "replied with type " + std::to_string(sent), true);
            } else if (lane == one && Line(at).strFunction == kReadsOn && NeedsNoReply(span.nType)) {
                EndUnanswered(one, LastOf(one));
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
        for (std::size_t lane = 0; lane < kLaneCount; ++lane) {
            for (TimelineSpan& span : m_lanes[lane].spans) {
                if (!span.bOpen) {
                    continue;
                }
                if (span.bRequest) {
                    // A request without a reply ends where its lane does.
                    EndUnanswered(static_cast<Lane>(lane), std::max(span.nFirstLine, LastOf(static_cast<Lane>(lane))));
                } else {
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
    std::array<OpenRequest, kLaneCount> m_requests;
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
