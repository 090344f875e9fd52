#include <cerrno>
#include <cwchar>
#include <string>

#include "foundation/wide_format.h"

namespace {

constexpr std::size_t kLongestTry = std::size_t{1} << 24;

// In the C library here %s is narrow and %ls wide; the formats of this program mean wide by %s.
std::wstring WithWideTexts(const wchar_t* format) {
    std::wstring result;
    for (const wchar_t* at = format; *at != L'\0'; ++at) {
        result += *at;
        if (*at != L'%') {
            continue;
        }
        ++at;
        while (*at != L'\0' && std::wcschr(L"-+ #0123456789.*", *at) != nullptr) {
            result += *at++;
        }
        if (at[0] == L'h' && at[1] == L's') {
            ++at;
            result += L's';
        } else if (*at == L'S') {
            result += L's';
        } else if (*at == L's') {
            result += L"ls";
        } else if (*at != L'\0') {
            result += *at;
        } else {
            break;
        }
    }
    return result;
}

}  // namespace

void FormatWideV(wchar_t* target, std::size_t size, const wchar_t* format, va_list arguments) {
    // A text that is too long fails here without saying how far it got, so it is formatted whole and then cut.
    const std::wstring wide = WithWideTexts(format);
    std::wstring whole(size, L'\0');
    for (;;) {
        va_list copy;
        va_copy(copy, arguments);
        errno = 0;
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_copy has just made it.
        const int length = std::vswprintf(whole.data(), whole.size(), wide.c_str(), copy);
        va_end(copy);
        if (length >= 0) {
            whole.resize(static_cast<std::size_t>(length));
            break;
        }
        // Narrow text that is not of the locale fails at every size.
        if (errno == EILSEQ || whole.size() > kLongestTry) {
            whole.clear();
            break;
        }
        whole.resize(whole.size() * 2);
    }
    const std::size_t kept = whole.size() < size - 1 ? whole.size() : size - 1;
    std::wmemcpy(target, whole.data(), kept);
    target[kept] = L'\0';
}
