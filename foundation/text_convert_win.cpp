#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"

std::string Utf16ToUtf8(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) {
        return {};
    }
    std::string result(static_cast<std::size_t>(size), '\0');
    const int written = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, result.data(), size, nullptr, nullptr);
    result.resize(written > 0 ? static_cast<std::size_t>(written - 1) : 0);
    return result;
}

std::wstring Utf8ToUtf16(const std::string& text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
    if (size <= 1) {
        return {};
    }
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    const int written = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, result.data(), size);
    result.resize(written > 0 ? static_cast<std::size_t>(written - 1) : 0);
    return result;
}
