// The life of one helper process, read from its log: lanes, spans and marks.
//
// The log names functions and no threads. A function that runs on one thread alone tells its lane; what runs on several
// is put on the lane of the request that is being handled, or else on a lane of its own, "any thread".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nexctl/log/log_lines.h"

enum class MarkKind {
    Line,     // any line
    Beacon,   // a statistics URL
    Timer,    // a timer came round, or was set
    Refusal,  // a message that gets no answer
};

struct TimelineMark {
    MarkKind kind = MarkKind::Line;
    std::size_t nLine = 0;  // into Timeline::lines
};

struct TimelineSpan {
    std::string strName;
    std::string strOutcome;  // of a request: "replied with type 13", "no reply is due", "no reply"; empty for others
    bool bRequest = false;
    int nType = 0;           // of a request; 0 when no line told it
    std::string strMessage;  // of a request: its payload as the log has it, possibly cut; empty when no line told it
    bool bServed = false;    // a request that was replied to, or is of a type without a reply
    bool bOpen = false;      // no line told its end: it lasts to the end of the log
    std::size_t nFirstLine = 0;
    std::size_t nLastLine = 0;
};

struct TimelineLane {
    std::string strName;
    std::vector<TimelineSpan> spans;  // in the order of their beginnings
    std::vector<TimelineMark> marks;  // in the order of their lines
};

struct Timeline {
    std::vector<LogLine> lines;
    std::vector<std::size_t> laneOf;  // of each line, into lanes
    std::vector<TimelineLane> lanes;  // those with a line alone, in a fixed order
};

// How many processes have written the log.
int CountRuns(const std::vector<LogLine>& lines);

// The timeline of one of them.
Timeline BuildTimeline(const std::vector<LogLine>& lines, int nRun);
