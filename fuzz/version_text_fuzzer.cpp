// A version text gives four parts or leaves the version as it was; four plain decimal parts give themselves, each cut
// to 16 bits.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "support/system/version_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text(data, data + size);
    constexpr FourPartVersion kBefore = 0x1234567890ABCDEF;
    FourPartVersion version = kBefore;
    if (!ParseVersionText(text, version)) {
        FUZZ_CHECK(version == kBefore);
    }
    const std::int32_t code = VersionCodeFromText(text);
    FUZZ_CHECK(code >= 2 && code <= 9 && code != 4);
    FUZZ_CHECK(code == VersionCodeFromText(text.substr(0, 3)));

    if (size >= 8) {
        std::uint16_t parts[4];
        std::wstring written;
        for (std::size_t i = 0; i < 4; ++i) {
            parts[i] = static_cast<std::uint16_t>(data[2 * i] | (data[2 * i + 1] << 8));
            written += std::to_wstring(parts[i]) + (i < 3 ? L"." : L"");
        }
        FUZZ_CHECK(ParseVersionText(written, version));
        FUZZ_CHECK(version == MakeFourPartVersion(parts[0], parts[1], parts[2], parts[3]));
    }
    return 0;
}
