#include "support/system/version_rules.h"

#include <array>
#include <vector>

#include "foundation/text_helpers.h"

namespace {

const wchar_t kMinimumVersion[] = L"1.0.345.0";

// The number at the start of text, cut to 16 bits; 0 when there is none.
std::uint16_t LeadingNumber(const std::wstring& text) {
    std::uint32_t number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9') {
            break;
        }
        number = (number * 10 + static_cast<std::uint32_t>(c - L'0')) & 0xFFFFu;
    }
    return static_cast<std::uint16_t>(number);
}

struct VersionCode {
    std::wstring_view text;
    std::int32_t code;
};

// The code 4 is not used.
constexpr std::array<VersionCode, 6> kVersionCodes = {{
    {L"5.0", 2},
    {L"5.1", 5},
    {L"5.2", 3},
    {L"6.0", 6},
    {L"6.1", 7},
    {L"6.2", 8},
}};

}  // namespace

bool ParseVersionText(const std::wstring& text, FourPartVersion& version) {
    std::vector<std::wstring> parts;
    if (SplitByDelimiters(text, {L".", L"|", L","}, parts) < 4) {
        return false;
    }
    version = MakeFourPartVersion(LeadingNumber(parts[0]), LeadingNumber(parts[1]), LeadingNumber(parts[2]),
                                  LeadingNumber(parts[3]));
    return true;
}

bool ParseVersionText(FourPartVersion& version) {
    return ParseVersionText(kMinimumVersion, version);
}

std::int32_t VersionCodeFromText(std::wstring_view currentVersion) {
    for (const VersionCode& known : kVersionCodes) {
        if (currentVersion.starts_with(known.text)) {
            return known.code;
        }
    }
    return kVersionCodeDefault;
}
