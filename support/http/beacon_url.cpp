#include "support/http/beacon_url.h"

#include "foundation/wide_format.h"

namespace {

// Of a finished URL at most one character less is sent.
constexpr std::size_t kUrlCharacters = 1024;

}  // namespace

std::wstring WithPlainScheme(std::wstring_view url) {
    // Taking the "s" out of "https" makes another "https" only where one more "s" follows, so dropping the whole run of
    // them in one pass gives what replacing until none is left gives.
    constexpr std::wstring_view kPlain = L"http";
    std::wstring result;
    result.reserve(url.size());
    std::size_t position = 0;
    while (position < url.size()) {
        const std::size_t found = url.find(kPlain, position);
        if (found == std::wstring_view::npos) {
            break;
        }
        const std::size_t after = found + kPlain.size();
        result.append(url.substr(position, after - position));
        position = after;
        while (position < url.size() && url[position] == L's') {
            ++position;
        }
    }
    result.append(url.substr(position));
    return result;
}

std::wstring BeaconUrl(std::wstring_view url, std::int32_t windowsVersionCode) {
    return IsPlainBeaconVersion(windowsVersionCode) ? WithPlainScheme(url) : std::wstring(url);
}

std::wstring StatisticsBeaconUrl(const std::wstring& url, bool bHasQuery, std::int32_t t,
                                 const std::wstring& machineId) {
    wchar_t text[kUrlCharacters] = {};
    FormatWide(text, kUrlCharacters, bHasQuery ? L"%s&t=%d&m=%s" : L"%s?t=%d&m=%s", url.c_str(), t, machineId.c_str());
    return text;
}

std::wstring InstallBeaconUrl(const std::wstring& url, const std::wstring& machineId) {
    wchar_t text[kUrlCharacters] = {};
    FormatWide(text, kUrlCharacters, L"%s?m=%s", url.c_str(), machineId.c_str());
    return text;
}
