// The helper's log as records.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct LogLine {
    // Milliseconds since midnight of the day on which the log begins: after midnight it continues after 86400000. Two
    // threads may write in the order opposite to their times.
    std::int64_t nTimeMs = 0;
    std::string strFunction;  // empty for the few lines that name none
    int nSourceLine = 0;
    std::string strText;  // UTF-8, without function and line
    int nRun = 0;         // a reused process id continues a file: which of its processes wrote the line, from 0

    bool operator==(const LogLine&) const = default;
};

// Reads a file's bytes, UTF-16 little-endian. What does not begin with a time belongs to the line before it, a text
// that holds line ends; in front of the first line it is dropped. Broken UTF-16 becomes U+FFFD, half a character at the
// end is left out: it may still be on its way.
std::vector<LogLine> ReadLog(std::string_view bytes);

// "5:25:55:476", the time of day of a line.
std::string TimeOfDay(std::int64_t nTimeMs);

// Whether the line's function contains text, without regard to the case of ASCII letters.
bool FunctionContains(const LogLine& line, std::string_view text);

// A line as the log writes it, in UTF-8 and without its end.
std::string LogLineText(const LogLine& line);

// Whether the text of a line says that a message was refused, and so got no answer.
bool IsRefusal(const LogLine& line);
