// Takes the contents of requests, identities and machine ids out of a log.
//
// What a line may show is decided by the list of all lines of the helper's log: every text that a line carries is
// masked unless the list below names the line as harmless. A line that is on no list is masked whole, so a line that a
// later version adds is masked until it is named as harmless.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nexctl/log/log_lines.h"

inline constexpr std::string_view kMasked = "***";

// The line with what must not be shown replaced by kMasked.
LogLine MaskLine(const LogLine& line);
std::vector<LogLine> MaskLog(std::vector<LogLine> lines);

// A JSON text with its keys and without its values, but for the type of a message, its number, "0", "1" and result
// words. What is not JSON becomes kMasked.
std::string MaskJson(std::string_view text);

// A command line of the helper without its channel and parameter.
std::string MaskCommandLine(std::string_view text);

// A text with the names of users in paths such as C:\Users\NAME\x replaced by kMasked. Backslashes may be doubled, as
// JSON does.
std::string MaskUserNames(std::string_view text);
