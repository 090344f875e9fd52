#include "support/http/http_url.h"

#include <algorithm>

namespace {

// The scheme is ASCII; so is the comparison.
bool StartsWithScheme(std::wstring_view url, std::wstring_view scheme) {
    return url.size() >= scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), url.begin(), [](wchar_t a, wchar_t b) {
               return a == (b >= L'A' && b <= L'Z' ? static_cast<wchar_t>(b - L'A' + L'a') : b);
           });
}

}  // namespace

bool IsHttpUrl(std::wstring_view url) {
    for (const std::wstring_view scheme : {std::wstring_view(L"http://"), std::wstring_view(L"https://")}) {
        if (!StartsWithScheme(url, scheme)) {
            continue;
        }
        url.remove_prefix(scheme.size());
        const std::size_t hostEnd = std::min(url.find_first_of(L"/?#"), url.size());
        std::wstring_view host = url.substr(0, hostEnd);
        host.remove_prefix(host.rfind(L'@') + 1);
        host = host.substr(0, host.rfind(L':'));
        return !host.empty() && host.size() < kHostCharacters && url.size() - hostEnd < kPathCharacters;
    }
    return false;
}
