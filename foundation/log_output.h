// From a formatted message to the line that is written, and the way out of the program that each platform has.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// A local time of day.
struct LogTime {
    std::uint32_t hour;
    std::uint32_t minute;
    std::uint32_t second;
    std::uint32_t milliseconds;
};

// One whole line: the time with none of its numbers padded, a tab, the text, CR LF.
std::wstring LogLine(const LogTime& time, std::wstring_view text);

// Writes one line, without its time and line end. Any thread.
void WriteLogText(const wchar_t* text);
