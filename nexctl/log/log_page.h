// Timelines as one HTML page that needs nothing else: a chart with an overview and, below, the lines that are in sight.
#pragma once

#include <string>
#include <vector>

#include "nexctl/log/log_timeline.h"

// A page holds this many lines. Of a longer log heartbeats are left out first, then the oldest lines; the head of the
// page says so.
inline constexpr std::size_t kMostPageLines = 1000000;

struct PageLog {
    std::string strTitle;  // for example the log's path, mark and end
    Timeline timeline;
};

// All logs on one axis. The page is UTF-8. Whatever the logs hold, it is text on the page and never markup or script.
std::string TimelinePage(const std::vector<PageLog>& logs, std::size_t nMostLines = kMostPageLines);

// A line that comes every second or so while nothing happens.
bool IsHeartbeat(const LogLine& line);
