// GetCommandLineValue against the same rule in other words. The input is target size, key length, key, text.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/text_helpers.h"
#include "fuzz/fuzz_check.h"

namespace {

FUZZ_ORACLE bool Expected(const std::wstring& text, const std::wstring& key, std::wstring& value) {
    const std::size_t found = text.find(key);
    if (found == std::wstring::npos) {
        return false;
    }
    value = text.substr(found + key.size());
    if (value.starts_with(L'"')) {
        value.erase(0, 1);
        if (const std::size_t mark = value.find(L'"'); mark != std::wstring::npos) {
            value.resize(mark);
            return true;
        }
    }
    value.resize(std::min(value.find(L' '), value.size()));
    return true;
}

std::wstring UpToNul(std::wstring text) {
    text.resize(std::min(text.find(L'\0'), text.size()));
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::size_t targetSize = data[0] + 1u;
    const std::wstring whole(data + 2, data + size);
    // Both arguments are terminated texts: they end at their first NUL.
    const std::wstring key = UpToNul(whole.substr(0, data[1] % 16));
    const std::wstring text = UpToNul(whole.substr(std::min<std::size_t>(whole.size(), data[1] % 16)));

    std::vector<wchar_t> target(targetSize, L'\0');
    const int result = GetCommandLineValue(text.c_str(), key.c_str(), target.data(), targetSize);
    std::wstring value;
    const bool expected = Expected(text, key, value);
    FUZZ_CHECK(result == (expected ? 1 : 0));
    value.resize(std::min(value.size(), targetSize - 1));
    FUZZ_CHECK(value == target.data());
    FUZZ_CHECK(target.back() == L'\0');
    return 0;
}
