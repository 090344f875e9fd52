#include "simulation/page/trace_page.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <string_view>
#include <vector>

#include "nexctl/log/log_page.h"

namespace simulation {
namespace {

// One line of the page: where a call begins, where it ends after others have come, or a moment.
struct Moment {
    std::uint64_t nOrder;
    const CTrace::Call* pCall;
    bool bEnd;
};

bool IsLog(const CTrace::Call& call) {
    return call.line.szWhat == std::string_view(CTrace::kLog);
}

std::string TimeText(Nanoseconds nAt) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%llu.%06llu ms  ", static_cast<unsigned long long>(nAt / kMillisecond),
                  static_cast<unsigned long long>(nAt % kMillisecond));
    return text.data();
}

LogLine LineOf(const Moment& moment) {
    LogLine line;
    line.nTimeMs = static_cast<std::int64_t>(moment.nOrder);
    line.strText = TimeText(moment.pCall->line.nAt) + TextOf(moment.pCall->line) + (moment.bEnd ? ", ends" : "");
    return line;
}

MarkKind KindOf(const CTrace::Call& call) {
    if (call.line.szWhat == std::string_view(CTrace::kSwitch)) {
        return MarkKind::Timer;
    }
    return call.line.nError != 0 ? MarkKind::Refusal : MarkKind::Line;
}

std::vector<Moment> MomentsOf(const std::vector<CTrace::Call>& calls) {
    std::vector<Moment> moments;
    for (const CTrace::Call& call : calls) {
        moments.push_back({call.nBegin, &call, /*bEnd=*/false});
        if (call.nEnd > call.nBegin + 1) {
            moments.push_back({call.nEnd, &call, /*bEnd=*/true});
        }
    }
    std::sort(moments.begin(), moments.end(),
              [](const Moment& one, const Moment& other) { return one.nOrder < other.nOrder; });
    return moments;
}

// A lane for each thread, by process; a span for each call in which others ran.
Timeline ThreadsTimeline(CScheduler& scheduler, const std::string& strEnd) {
    Timeline timeline;
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::size_t> lanes;
    for (const CTrace::Call& call : scheduler.Trace().All()) {
        lanes.emplace(std::pair(scheduler.Tasks()[call.line.nTask - 1]->m_nProcess, call.line.nTask), 0);
    }
    std::map<std::uint32_t, std::size_t> laneOf;
    for (auto& [key, nLane] : lanes) {
        nLane = timeline.lanes.size();
        laneOf[key.second] = nLane;
        const CTask& task = *scheduler.Tasks()[key.second - 1];
        timeline.lanes.push_back(
            {"thread " + std::to_string(key.second) + " (" + task.m_strPath + "), process " + std::to_string(key.first),
             {},
             {}});
    }
    std::map<const CTrace::Call*, std::pair<std::size_t, std::size_t>> open;
    for (const Moment& moment : MomentsOf(scheduler.Trace().All())) {
        const std::size_t nLane = laneOf[moment.pCall->line.nTask];
        const std::size_t nLine = timeline.lines.size();
        TimelineLane& lane = timeline.lanes[nLane];
        timeline.lines.push_back(LineOf(moment));
        timeline.laneOf.push_back(nLane);
        lane.marks.push_back({KindOf(*moment.pCall), nLine});
        const bool bLasts = moment.pCall->nEnd == 0 || moment.pCall->nEnd > moment.pCall->nBegin + 1;
        if (moment.bEnd) {
            TimelineSpan& span = timeline.lanes[nLane].spans[open[moment.pCall].second];
            span.nLastLine = nLine;
            span.bOpen = false;
        } else if (bLasts) {
            open[moment.pCall] = {nLane, lane.spans.size()};
            TimelineSpan span;
            span.strName = moment.pCall->line.szWhat;
            span.bOpen = true;
            span.nFirstLine = span.nLastLine = nLine;
            lane.spans.push_back(std::move(span));
        }
    }
    if (timeline.lines.empty()) {
        return timeline;
    }
    LogLine last;
    last.nTimeMs = timeline.lines.back().nTimeMs + 1;
    last.strText = strEnd;
    const std::size_t nLane = laneOf[scheduler.Current().m_nId];
    timeline.lanes[nLane].marks.push_back({MarkKind::Refusal, timeline.lines.size()});
    timeline.laneOf.push_back(nLane);
    timeline.lines.push_back(std::move(last));
    for (TimelineLane& lane : timeline.lanes) {
        for (TimelineSpan& span : lane.spans) {
            span.nLastLine = span.bOpen ? timeline.lines.size() - 1 : span.nLastLine;
        }
    }
    return timeline;
}

// The product's own log, read as nexctl reads it.
std::vector<LogLine> LogOf(const std::vector<CTrace::Call>& calls) {
    std::string strBytes;
    for (const CTrace::Call& call : calls) {
        if (IsLog(call)) {
            for (const char letter :
                 TimeOfDay(static_cast<std::int64_t>(call.nBegin)) + "\t" + call.line.strText + "\r\n") {
                strBytes += letter;
                strBytes += '\0';
            }
        }
    }
    return ReadLog(strBytes);
}

}  // namespace

std::string TracePage(CScheduler& scheduler, const std::string& strEnd) {
    std::vector<PageLog> logs;
    logs.push_back({scheduler.m_strHeading + ": " + strEnd + ". The axis is the order of what happened.",
                    ThreadsTimeline(scheduler, strEnd)});
    const std::vector<LogLine> log = LogOf(scheduler.Trace().All());
    for (int nRun = 0; nRun < CountRuns(log); ++nRun) {
        logs.push_back({"The helper's log", BuildTimeline(log, nRun)});
    }
    return TimelinePage(logs);
}

}  // namespace simulation
