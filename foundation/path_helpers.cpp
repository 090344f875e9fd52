#include "foundation/path_helpers.h"

#include "foundation/late_shlwapi.h"
#include "foundation/windows_headers.h"

namespace {

constexpr DWORD kPathCharacters = 1024;

}  // namespace

std::wstring CanonicalizePath(const std::wstring& path) {
    // How much the platform's function writes is its own affair; what is longer than the buffer it never sees.
    if (path.size() >= kPathCharacters) {
        return {};
    }
    wchar_t canonical[kPathCharacters] = {};
    Late::PathCanonicalizeW(canonical, path.c_str());
    wchar_t expanded[kPathCharacters] = {};
    const DWORD length = GetLongPathNameW(canonical, expanded, kPathCharacters);
    return length > 0 && length < kPathCharacters ? expanded : canonical;
}

std::wstring TwoStepsUp(const std::wstring& path) {
    // On a drive this is a cut in the text; the platform's function would cost every start a library.
    constexpr std::size_t kRoot = 3;
    if (path.size() > kRoot && path.compare(1, 2, L":\\") == 0) {
        const std::size_t folder = path.rfind(L'\\');
        const std::size_t above = folder < kRoot ? folder : path.rfind(L'\\', folder - 1);
        return path.substr(0, above < kRoot ? kRoot : above);
    }
    wchar_t shortened[MAX_PATH] = {};
    if (path.empty() || path.size() >= MAX_PATH) {
        return {};
    }
    path.copy(shortened, path.size());
    Late::PathAppendW(shortened, LR"(..\..)");
    return shortened;
}

std::wstring TemporarySubfolder(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, path);
    return Late::PathAppendW(path, name) ? path : std::wstring();
}

int IsPathUnderDirectory(const std::wstring& directory, const std::wstring& path) {
    return IsCanonicalPathUnder(CanonicalizePath(directory), CanonicalizePath(path));
}

int IsCanonicalPathUnder(const std::wstring& directory, const std::wstring& path) {
    if (directory.empty() || path.empty()) {
        // An empty prefix would count as a prefix of everything.
        return 0;
    }
    std::wstring prefix = directory;
    prefix.resize(prefix.size() + 1);
    Late::PathRemoveBackslashW(prefix.data());
    return Late::PathIsPrefixW(prefix.c_str(), path.c_str());
}
