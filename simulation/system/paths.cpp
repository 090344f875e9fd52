// Helpers for paths: texts only.
#include <shlwapi.h>

#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

namespace {

// The parts of a path after its drive, with "." and ".." resolved.
std::wstring Canonical(const std::wstring& strPath) {
    const bool bDrive = strPath.size() >= 2 && strPath[1] == L':';
    const std::wstring strRoot = bDrive ? strPath.substr(0, 2) : L"";
    std::vector<std::wstring> parts;
    std::size_t nAt = strRoot.size();
    while (nAt < strPath.size()) {
        const std::size_t nEnd = std::min(strPath.find(L'\\', nAt), strPath.size());
        const std::wstring strPart = strPath.substr(nAt, nEnd - nAt);
        if (strPart == L"..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!strPart.empty() && strPart != L".") {
            parts.push_back(strPart);
        }
        nAt = nEnd + 1;
    }
    std::wstring strResult = strRoot;
    for (const std::wstring& strPart : parts) {
        strResult += (strResult.empty() && strPath[0] != L'\\' ? L"" : L"\\") + strPart;
    }
    if (parts.empty() || (strPath.size() > strRoot.size() + 1 && strPath.back() == L'\\')) {
        strResult += L'\\';
    }
    return strResult;
}

}  // namespace

BOOL PathCanonicalizeW(LPWSTR szResult, LPCWSTR szPath) {
    const std::wstring strResult = Canonical(szPath);
    if (strResult.size() >= MAX_PATH) {
        return FALSE;
    }
    std::wmemcpy(szResult, strResult.c_str(), strResult.size() + 1);
    return TRUE;
}

BOOL PathAppendW(LPWSTR szPath, LPCWSTR szMore) {
    const std::wstring strMore = szMore;
    const bool bAbsolute = strMore.size() >= 2 && strMore[1] == L':';
    return PathCanonicalizeW(szPath, (bAbsolute ? strMore : std::wstring(szPath) + L'\\' + strMore).c_str());
}

BOOL PathIsPrefixW(LPCWSTR szPrefix, LPCWSTR szPath) {
    const std::size_t nLength = std::wcslen(szPrefix);
    if (std::wcslen(szPath) < nLength || (nLength > 0 && szPrefix[nLength - 1] == L'\\')) {
        return FALSE;
    }
    for (std::size_t i = 0; i < nLength; ++i) {
        if (std::towlower(static_cast<std::wint_t>(szPrefix[i])) !=
            std::towlower(static_cast<std::wint_t>(szPath[i]))) {
            return FALSE;
        }
    }
    return nLength == 0 || szPath[nLength] == L'\0' || szPath[nLength] == L'\\' ? TRUE : FALSE;
}

LPWSTR PathRemoveBackslashW(LPWSTR szPath) {
    const std::size_t nLength = std::wcslen(szPath);
    if (nLength == 0) {
        return szPath;
    }
    // The one of a drive stays.
    if (szPath[nLength - 1] == L'\\' && !(nLength == 3 && szPath[1] == L':')) {
        szPath[nLength - 1] = L'\0';
        return szPath + nLength - 1;
    }
    return szPath + nLength - 1;
}
