#include "nexctl/log/log_timeline.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "ipc/protocol/request_table.h"
#include "nexctl/log/timeline_lanes.h"
#include "nexctl/log/timeline_texts.h"

namespace {

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

    static bool IsPipe(std::optional<Lane> lane) { return lane && (*lane == kCallerPipe || *lane == kHostPipe); }

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
            m_lanes[lane].strName = LaneName(lane);
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
