#include "foundation/log.h"

#include <cstdarg>

#include "foundation/log_output.h"
#include "foundation/wide_format.h"

namespace {

constexpr std::size_t kLineCharacters = 8192;

std::atomic<LogObserver> g_pObserver{nullptr};

}  // namespace

void SetLogObserver(LogObserver observer) {
    g_pObserver.store(observer);
}

void LogPrintf(const wchar_t* format, ...) {
    if (g_bDebugLog.load(std::memory_order_relaxed) == 0) {
        return;
    }
    wchar_t text[kLineCharacters] = {};
    va_list arguments;
    va_start(arguments, format);
    FormatWideV(text, kLineCharacters, format, arguments);
    va_end(arguments);
    WriteLogText(text);
    if (const LogObserver observer = g_pObserver.load()) {
        observer(text);
    }
}
