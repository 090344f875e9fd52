// desktop_holder.exe: keeps the desktop of a Wine prefix open while programs run there.
//
// Wine opens the desktop for the first window of a prefix and closes it a second after the last one. Where several
// processes make their first window while it opens, Wine refuses it to some of them, for as long as they live.
// tools/wine/run starts this program before the others; it writes "ready" when the desktop is open, and exits after
// half a minute without any program beside it.
#include "foundation/windows_headers.h"

#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "foundation/handle.h"

namespace {

constexpr DWORD kLookEveryMs = 5000;
constexpr int kLooksAlone = 6;

// What Wine itself starts in a prefix.
bool IsOfWine(const wchar_t* szName) {
    static constexpr std::array<const wchar_t*, 10> kNames = {
        L"conhost.exe",  L"desktop_holder.exe", L"explorer.exe", L"plugplay.exe",   L"rpcss.exe",
        L"services.exe", L"svchost.exe",        L"wineboot.exe", L"winedevice.exe", L"winemenubuilder.exe"};
    return std::ranges::any_of(kNames, [&](const wchar_t* one) { return lstrcmpiW(one, szName) == 0; });
}

// Whether no other program runs in this prefix. False where that cannot be told.
bool IsAlone() {
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return false;
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more; more = Process32NextW(snapshot.get(), &entry)) {
        if (!IsOfWine(entry.szExeFile)) {
            return false;
        }
    }
    return true;
}

}  // namespace

int main() {
    if (CreateWindowExW(/*dwExStyle=*/0, L"STATIC", /*lpWindowName=*/nullptr, /*dwStyle=*/0, 0, 0, 0, 0, HWND_MESSAGE,
                        /*hMenu=*/nullptr, /*hInstance=*/nullptr, /*lpParam=*/nullptr) == nullptr) {
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    for (int alone = 0; alone < kLooksAlone; alone = IsAlone() ? alone + 1 : 0) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, kLookEveryMs, 0);
    }
    return 0;
}
