// The scheme rule in one pass gives what replacing one "https" after the other gives, and no beacon outgrows its
// buffer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_check.h"
#include "support/http/beacon_url.h"

namespace {

// As it is told, one after the other, each with a move of all that follows: quadratic, so for short texts.
constexpr std::size_t kShort = 256;

FUZZ_ORACLE std::wstring ReplaceUntilNoneIsLeft(std::wstring url) {
    std::size_t found = 0;
    while ((found = url.find(L"https", found)) != std::wstring::npos) {
        url.replace(found, 5, L"http");
        found -= std::min<std::size_t>(found, 4);  // what the replacement makes new begins here at the earliest
    }
    return url;
}

// A longer text: nothing is left to replace, and what cannot reach across the cut is as it is for its beginning alone.
FUZZ_ORACLE bool IsPlainFormOf(const std::wstring& plain, const std::wstring& url) {
    if (url.size() <= kShort) {
        return plain == ReplaceUntilNoneIsLeft(url);
    }
    std::wstring head = url.substr(0, kShort);
    head.back() = L'x';
    return plain.find(L"https") == std::wstring::npos && plain.size() <= url.size() &&
           WithPlainScheme(plain) == plain && WithPlainScheme(head) == ReplaceUntilNoneIsLeft(head) &&
           WithPlainScheme(head + url.substr(kShort)) == WithPlainScheme(head) + WithPlainScheme(url.substr(kShort));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // The letters that matter are common, so that they meet often.
    constexpr wchar_t kLetters[] = L"hhttpps:/?&=x";
    std::wstring url(size - 1, L' ');
    for (std::size_t i = 1; i < size; ++i) {
        url[i - 1] = kLetters[data[i] % (std::size(kLetters) - 1)];
    }
    const std::wstring plain = WithPlainScheme(url);
    if (!IsPlainFormOf(plain, url) || BeaconUrl(url, 7) != plain || BeaconUrl(url, 9) != url) {
        std::abort();
    }
    const std::size_t cut = data[0] * url.size() / 256;
    const std::wstring machineId = url.substr(cut);
    const bool bHasQuery = size % 2 == 0;
    std::wstring whole = url.substr(0, 1023);
    whole += bHasQuery ? L"&t=" : L"?t=";
    whole += L"12345&m=";
    whole.append(machineId, 0, 1023);
    if (StatisticsBeaconUrl(url, bHasQuery, 12345, machineId) != whole.substr(0, 1023)) {
        std::abort();
    }
    if (InstallBeaconUrl(url, machineId) !=
        (url.substr(0, 1023) + L"?m=" + machineId.substr(0, 1023)).substr(0, 1023)) {
        std::abort();
    }
    return 0;
}
