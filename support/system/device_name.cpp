#include "support/system/device_name.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<std::wstring_view, 6> kDevices = {L"AUX", L"CON", L"NUL", L"PRN", L"CONIN$", L"CONOUT$"};

wchar_t Upper(wchar_t c) {
    return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}

bool SameWithoutCase(std::wstring_view a, std::wstring_view b) {
    return std::ranges::equal(a, b, {}, &Upper, &Upper);
}

// The system takes the superscript digits of Latin-1 for digits.
bool IsPortDigit(wchar_t c) {
    return (c >= L'1' && c <= L'9') || c == L'\u00B9' || c == L'\u00B2' || c == L'\u00B3';
}

bool IsDeviceName(std::wstring_view name) {
    if (name.size() == 4 && IsPortDigit(name[3])) {
        return SameWithoutCase(name.substr(0, 3), L"COM") || SameWithoutCase(name.substr(0, 3), L"LPT");
    }
    return std::ranges::any_of(kDevices, [name](std::wstring_view device) { return SameWithoutCase(name, device); });
}

bool IsSeparator(wchar_t c) {
    return c == L'\\' || c == L'/';
}

}  // namespace

bool IsDevicePath(std::wstring_view path) {
    if (path.size() >= 4 && IsSeparator(path[0]) && IsSeparator(path[1]) && (path[2] == L'.' || path[2] == L'?') &&
        IsSeparator(path[3])) {
        const bool bDrive = path.size() >= 7 && path[5] == L':' && IsSeparator(path[6]);
        if (!bDrive) {
            return true;
        }
    }
    const std::size_t last = path.find_last_of(L"\\/");
    std::wstring_view name = last == std::wstring_view::npos ? path : path.substr(last + 1);
    if (name.size() >= 2 && name[1] == L':') {
        name.remove_prefix(2);  // a drive
    }
    name = name.substr(0, name.find_first_of(L".:"));
    while (!name.empty() && name.back() == L' ') {
        name.remove_suffix(1);
    }
    return IsDeviceName(name);
}
