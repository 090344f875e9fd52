#include "foundation/log.h"

#include <cstdarg>

#include "foundation/log_output.h"
#include "foundation/wide_format.h"

namespace {

constexpr std::size_t kMessageCharacters = 8192;
constexpr std::size_t kReservedLine = 512;
constexpr std::size_t kTimeCharacters = 32;

std::atomic<LogObserver> g_pObserver{nullptr};

}  // namespace

void SetLogObserver(LogObserver observer) {
    g_pObserver.store(observer);
}

std::wstring LogLine(const LogTime& time, std::wstring_view text) {
    wchar_t szTime[kTimeCharacters];
    FormatWide(szTime, kTimeCharacters, L"%d:%d:%d:%d", time.hour, time.minute, time.second, time.milliseconds);
    std::wstring line;
    line.reserve(kReservedLine);
    line += szTime;
    line += L'\t';
    line += text;
    line += L"\r\n";
    return line;
}

void LogPrintf(const wchar_t* format, ...) {
    if (g_bDebugLog.load(std::memory_order_relaxed) == 0) {
        return;
    }
    wchar_t text[kMessageCharacters];
    va_list arguments;
    va_start(arguments, format);
    FormatWideV(text, kMessageCharacters, format, arguments);
    va_end(arguments);
    WriteLogText(text);
    if (const LogObserver observer = g_pObserver.load()) {
        observer(text);
    }
}
