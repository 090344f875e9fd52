// The scheme rule in one pass gives what replacing one "https" after the other gives, and no beacon outgrows its
// buffer.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/http/beacon_url.h"

namespace {

std::wstring ReplaceUntilNoneIsLeft(std::wstring url) {
    std::size_t found = 0;
    while ((found = url.find(L"https")) != std::wstring::npos) {
        url.replace(found, 5, L"http");
    }
    return url;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // The letters that matter are common, so that they meet often.
    constexpr wchar_t kLetters[] = L"hhttpps:/?&=x";
    std::wstring url;
    for (std::size_t i = 1; i < size; ++i) {
        url += kLetters[data[i] % (std::size(kLetters) - 1)];
    }
    const std::wstring plain = WithPlainScheme(url);
    if (plain != ReplaceUntilNoneIsLeft(url) || BeaconUrl(url, 7) != plain || BeaconUrl(url, 9) != url) {
        std::abort();
    }
    const std::size_t cut = data[0] * url.size() / 256;
    const std::wstring machineId = url.substr(cut);
    for (const bool hasQuery : {false, true}) {
        std::wstring whole = url;
        whole += hasQuery ? L"&t=" : L"?t=";
        whole += L"12345&m=";
        whole += machineId;
        if (StatisticsBeaconUrl(url, hasQuery, 12345, machineId) != whole.substr(0, 1023)) {
            std::abort();
        }
    }
    if (InstallBeaconUrl(url, machineId) != (url + L"?m=" + machineId).substr(0, 1023)) {
        std::abort();
    }
    return 0;
}
