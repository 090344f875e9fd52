// The developer's trace: off by default, one load and one branch per call when it is off.
//
//   NXL_LOG(L"[%s(%d)] enter mark=%s", m_mark.c_str());
//
// A format that begins with "[%s(%d)]" gets the qualified name of the enclosing function and the source line as its
// first two arguments; a few texts stand without that prefix and get nothing. %s is wide everywhere, also natively.
// Arguments are evaluated only while the log is on.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The switch. 0 is off. Set once at process start, before other threads log.
inline std::atomic<std::uint32_t> g_bDebugLog{0};

// Formats and writes one line; text beyond 8191 characters is cut. Does nothing while the log is off. Any thread.
void LogPrintf(const wchar_t* format, ...);

// Gets every formatted line, without its time, beside the log file. For tests; null takes it away.
using LogObserver = void (*)(const wchar_t* text);
void SetLogObserver(LogObserver observer);

namespace log_detail {

template <std::size_t N>
struct WideName {
    wchar_t text[N]{};
};

// The qualified name inside a compiler's description of a function:
// "void NS::C::f(int) const [with T = int]" gives "NS::C::f".
template <std::size_t N>
consteval WideName<N> QualifiedName(const char (&pretty)[N]) {
    const std::string_view text(pretty, N - 1);
    std::size_t end = 0;
    std::size_t depth = 0;
    for (; end < text.size(); ++end) {
        const char c = text[end];
        if (c == '<') {
            ++depth;
        } else if (c == '>' && depth > 0) {
            --depth;
        } else if (c == '(' && depth == 0) {
            // clang writes an unnamed namespace with parentheses.
            constexpr std::string_view unnamed = "(anonymous namespace)";
            if (text.substr(end, unnamed.size()) == unnamed) {
                end += unnamed.size() - 1;
                continue;
            }
            if (text.substr(0, end).ends_with("operator")) {
                ++end;
                continue;
            }
            break;
        }
    }
    std::size_t begin = end;
    depth = 0;
    for (; begin > 0; --begin) {
        const char c = text[begin - 1];
        if (c == '>' || c == ')') {
            ++depth;
        } else if ((c == '<' || c == '(') && depth > 0) {
            --depth;
        } else if (depth == 0 && (c == ' ' || c == '*' || c == '&')) {
            break;
        }
    }
    WideName<N> name;
    for (std::size_t from = begin, to = 0; from < end; ++from, ++to) {
        name.text[to] = static_cast<wchar_t>(static_cast<unsigned char>(text[from]));
    }
    return name;
}

consteval bool HasOrigin(std::wstring_view format) {
    return format.starts_with(L"[%s(%d)]");
}

}  // namespace log_detail

#define NXL_LOG(format, ...)                                                                  \
    do {                                                                                      \
        if (g_bDebugLog.load(std::memory_order_relaxed) != 0) {                               \
            if constexpr (log_detail::HasOrigin(format)) {                                    \
                static constexpr auto name_ = log_detail::QualifiedName(__PRETTY_FUNCTION__); \
                LogPrintf(format, name_.text, __LINE__ __VA_OPT__(, ) __VA_ARGS__);           \
            } else {                                                                          \
                LogPrintf(format __VA_OPT__(, ) __VA_ARGS__);                                 \
            }                                                                                 \
        }                                                                                     \
    } while (false)
