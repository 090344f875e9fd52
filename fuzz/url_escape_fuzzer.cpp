// UrlEscape: what it measures, what it writes at every target size, and that an independent reader gets the text back.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/text_helpers.h"
#include "fuzz/fuzz_check.h"

namespace {

FUZZ_ORACLE int DigitOf(char c) {
    FUZZ_CHECK((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'));
    return c <= '9' ? c - '0' : c - 'A' + 10;
}

FUZZ_ORACLE std::string Unescaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '+') {
            result.push_back(' ');
        } else if (c == '%') {
            FUZZ_CHECK(at + 2 < text.size());
            result.push_back(static_cast<char>(16 * DigitOf(text[at + 1]) + DigitOf(text[at + 2])));
            at += 2;
        } else {
            FUZZ_CHECK((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'));
            result.push_back(c);
        }
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string escaped = UrlEscapeString(input);
    FUZZ_CHECK(Unescaped(escaped) == input);

    const std::int32_t needed = UrlEscape(input.data(), input.size(), nullptr, 0);
    FUZZ_CHECK(needed >= 0 && static_cast<std::size_t>(needed) == escaped.size() + 1);
    FUZZ_CHECK(UrlEscape(input.c_str(), 0xFFFFFFFFu, nullptr, 0) ==
               UrlEscape(input.c_str(), std::strlen(input.c_str()), nullptr, 0));

    // Around the exact size, and at a size that the input itself chooses; the heap block shows one byte too many.
    for (const std::size_t targetSize : {static_cast<std::size_t>(needed), escaped.size(), escaped.size() + 2,
                                         std::size_t{1} + (size > 0 ? data[0] : 0u)}) {
        if (targetSize == 0) {
            continue;
        }
        std::vector<char> target(targetSize, '\0');
        const std::int32_t written = UrlEscape(input.data(), input.size(), target.data(), targetSize);
        FUZZ_CHECK(written >= 0 && static_cast<std::size_t>(written) < targetSize);
        FUZZ_CHECK(std::strlen(target.data()) == static_cast<std::size_t>(written));
        FUZZ_CHECK(escaped.compare(0, static_cast<std::size_t>(written), target.data()) == 0);
        // No piece is split, and nothing that still fitted is left out.
        const std::size_t rest = escaped.size() - static_cast<std::size_t>(written);
        const std::size_t next = rest == 0 ? 0 : escaped[static_cast<std::size_t>(written)] == '%' ? 3 : 1;
        FUZZ_CHECK(rest == 0 || static_cast<std::size_t>(written) + next >= targetSize);
        const std::string back = Unescaped({target.data(), static_cast<std::size_t>(written)});
        FUZZ_CHECK(input.compare(0, back.size(), back) == 0);
    }
    return 0;
}
