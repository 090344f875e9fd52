// SplitByDelimiters ends for every set of delimiters, and with single characters gives exactly the pieces between them.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/text_helpers.h"
#include "fuzz/fuzz_check.h"

namespace {

FUZZ_ORACLE std::vector<std::wstring> SplitAtCharacters(const std::wstring& text, const std::wstring& delimiters) {
    std::vector<std::wstring> parts;
    std::wstring piece;
    for (const wchar_t c : text + delimiters.front()) {
        if (delimiters.find(c) == std::wstring::npos) {
            piece += c;
        } else if (!piece.empty()) {
            parts.push_back(std::move(piece));
            piece.clear();
        }
    }
    return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // The first byte says how many delimiters follow, each a length and its characters; the rest is the text.
    std::size_t at = 1;
    std::vector<std::wstring> delimiters;
    for (std::size_t count = data[0] % 4; count > 0 && at < size; --count) {
        const std::size_t length = std::min<std::size_t>(data[at] % 5, size - at - 1);
        delimiters.emplace_back(data + at + 1, data + at + 1 + length);
        at += 1 + length;
    }
    const std::wstring text(data + at, data + size);

    std::vector<std::wstring> parts;
    const std::size_t count = SplitByDelimiters(text, delimiters, parts);
    FUZZ_CHECK(count == parts.size());
    std::size_t characters = 0;
    for (const std::wstring& part : parts) {
        FUZZ_CHECK(!part.empty() && text.find(part) != std::wstring::npos);
        characters += part.size();
    }
    FUZZ_CHECK(characters <= text.size());

    parts.clear();
    SplitByDelimiters(text, {L".", L"|", L","}, parts);
    FUZZ_CHECK(parts == SplitAtCharacters(text, L".|,"));
    return 0;
}
