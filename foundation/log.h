// The developer's trace: off by default, one load and one branch per call when it is off.
//
//   NXL_LOG(L"[%s(%d)] enter mark=%s", m_mark.c_str());
//
// A format that begins with "[%s(%d)]" gets the qualified name of the enclosing function and the source line as its
// first two arguments; a few texts have no prefix and get neither. %s is wide everywhere, also natively.
// Arguments are evaluated only while the log is on. That they fit the format is checked by the compiler.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/log_call_site.h"

// The switch. 0 is off. Set once at process start, before other threads log.
inline std::atomic<std::uint32_t> g_bDebugLog{0};

// Formats and writes one line; text beyond 8191 characters is cut. Does nothing while the log is off. Any thread.
[[gnu::cold]] void LogPrintf(const wchar_t* format, ...);

// Gets every formatted line, without its time, beside the log file. For tests; null takes it away.
using LogObserver = void (*)(const wchar_t* text);
void SetLogObserver(LogObserver observer);

#define NXL_LOG(format, ...)                                                                                     \
    do {                                                                                                         \
        static_assert(log_detail::FormatFits(format, decltype(log_detail::TypesOf(__VA_ARGS__)){}),              \
                      "the arguments of this log call do not fit its format");                                   \
        if (g_bDebugLog.load(std::memory_order_relaxed) != 0) [[unlikely]] {                                     \
            if constexpr (log_detail::HasOrigin(format)) {                                                       \
                static constexpr auto name_ =                                                                    \
                    log_detail::QualifiedName<log_detail::NameLength(__PRETTY_FUNCTION__)>(__PRETTY_FUNCTION__); \
                LogPrintf(format, name_.text, __LINE__ __VA_OPT__(, ) __VA_ARGS__);                              \
            } else {                                                                                             \
                LogPrintf(format __VA_OPT__(, ) __VA_ARGS__);                                                    \
            }                                                                                                    \
        }                                                                                                        \
    } while (false)

// Lines of a function that is a part of another one, and is not what people look for in a log:
//
//   NXL_LOG_AS(L"CommzoltHelperS::OnTimer", L"[%s(%d)] is ml");
//
// operation: wide text, evaluated only while the log is on; the name that the line gets. The format must begin with
// "[%s(%d)]".
#define NXL_LOG_AS(operation, format, ...)                                                                  \
    do {                                                                                                    \
        static_assert(log_detail::HasOrigin(format), "a line without its origin carries no name");          \
        static_assert(log_detail::FormatFits(format, decltype(log_detail::TypesOf(__VA_ARGS__)){}),         \
                      "the arguments of this log call do not fit its format");                              \
        if (g_bDebugLog.load(std::memory_order_relaxed) != 0) [[unlikely]] {                                \
            LogPrintf(format, static_cast<const wchar_t*>(operation), __LINE__ __VA_OPT__(, ) __VA_ARGS__); \
        }                                                                                                   \
    } while (false)

// The name that a line of the enclosing function carries, as wide text that stays: to be handed to a function that logs
// in its name.
#define NXL_LOG_NAME                                                                                     \
    ([]() -> const wchar_t* {                                                                            \
        static constexpr auto name_ =                                                                    \
            log_detail::QualifiedName<log_detail::NameLength(__PRETTY_FUNCTION__)>(__PRETTY_FUNCTION__); \
        return name_.text;                                                                               \
    }())
