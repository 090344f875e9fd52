// A timeline as one HTML page that needs nothing else: lanes with spans and marks on a common axis, and every line
// below.
#pragma once

#include <string>

#include "nexctl/log_timeline.h"

// title stands at the top, for example the log's path. The page is UTF-8. Whatever the log holds, it is text on the
// page and never markup or script.
std::string TimelinePage(const Timeline& timeline, const std::string& title);
