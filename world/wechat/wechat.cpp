// A stand-in for the installed WeChat client: registers itself for a URL scheme, and shows the window of what such a
// URL names, as the file wechat.ini beside it says.
//
//   WeChat.exe register      makes it the installed client of this machine
//   WeChat.exe unregister    takes that back
//   WeChat.exe open URL      what the shell runs for a URL of the scheme
//
// Every call it gets becomes one line of wechat_calls.txt beside it. See world/README.md for the settings.
#include <windows.h>

#include <string>
#include <vector>

#include "world/common/stand_in_files.h"
#include "world/process/stay.h"

namespace {

const wchar_t kUninstallKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChat";

bool SetText(HKEY root, const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    HKEY opened = nullptr;
    if (RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY, nullptr, &opened, nullptr) !=
        ERROR_SUCCESS) {
        return false;
    }
    const LSTATUS status = RegSetValueExW(opened, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                          static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(opened);
    return status == ERROR_SUCCESS;
}

std::wstring SchemeKey(const CStandInFiles& files) {
    return L"Software\\Classes\\" + files.Setting(L"scheme", L"nexlet-wechat");
}

bool RegisterScheme(HKEY root, const CStandInFiles& files, const std::wstring& program) {
    const std::wstring key = SchemeKey(files);
    return SetText(root, key, nullptr, L"URL:WeChat stand-in") && SetText(root, key, L"URL Protocol", L"") &&
           SetText(root, key + L"\\shell\\open\\command", nullptr, L"\"" + program + L"\" open \"%1\"");
}

// The scheme's entry of the machine or that of the user is enough, whichever may be written and is read.
int Register(const CStandInFiles& files) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const bool bMachine = RegisterScheme(HKEY_LOCAL_MACHINE, files, program);
    const bool bUser = RegisterScheme(HKEY_CURRENT_USER, files, program);
    const bool bInstalled = SetText(HKEY_LOCAL_MACHINE, kUninstallKey, L"UninstallString", program);
    files.Record("register");
    return (bMachine || bUser) && bInstalled ? 0 : 1;
}

int Unregister(const CStandInFiles& files) {
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        RegDeleteTreeW(root, SchemeKey(files).c_str());
    }
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kUninstallKey);
    files.Record("unregister");
    return 0;
}

HANDLE OpenNamed(const std::wstring& event) {
    return event.empty() ? nullptr : OpenEventW(SYNCHRONIZE, FALSE, event.c_str());
}

// Runs the thread's messages for a time; false when the event, which may be null, comes first.
bool RunMessages(HANDLE event, DWORD timeMs) {
    const DWORD events = event != nullptr ? 1 : 0;
    const ULONGLONG startedAt = GetTickCount64();
    for (ULONGLONG passed = 0; passed < timeMs; passed = GetTickCount64() - startedAt) {
        const DWORD leftMs = timeMs - static_cast<DWORD>(passed);
        const DWORD woken = MsgWaitForMultipleObjects(events, &event, FALSE, leftMs, QS_ALLINPUT);
        if (woken == WAIT_OBJECT_0 && events == 1) {
            return false;
        }
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
    }
    return true;
}

// The turn of the window: its gate or, without one, its delay. False when the stop or the end of the stay comes first.
bool WaitForTurn(const CStandInFiles& files, HANDLE stop, DWORD stayMs) {
    const HANDLE gate = OpenNamed(files.Setting(L"gate"));
    if (gate == nullptr) {
        return RunMessages(stop, static_cast<DWORD>(files.Number(L"delay_ms", 300)));
    }
    const HANDLE both[] = {gate, stop};
    return WaitForMultipleObjects(stop != nullptr ? 2 : 1, both, FALSE, stayMs) == WAIT_OBJECT_0;
}

int Open(const CStandInFiles& files, const std::wstring& url) {
    files.Record("open " + Narrow(url));
    const HANDLE stop = OpenNamed(files.Setting(L"stop"));
    const auto stayMs = static_cast<DWORD>(files.Number(L"stay_ms", 5000));
    const std::wstring title = files.Setting(L"title");
    if (!WaitForTurn(files, stop, stayMs) || title.empty()) {
        return 0;
    }
    if (MakeWindow(files.Setting(L"class", L"nexlet_wechat"), title, DefWindowProcW) == nullptr) {
        return 2;
    }
    files.Record("window " + Narrow(title));
    RunMessages(stop, stayMs);
    return 0;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    const CStandInFiles files(L"wechat");
    const std::vector<std::wstring> words = CommandLineWords();
    if (words.size() == 2 && words[1] == L"register") {
        return Register(files);
    }
    if (words.size() == 2 && words[1] == L"unregister") {
        return Unregister(files);
    }
    if (words.size() == 3 && words[1] == L"open") {
        return Open(files, words[2]);
    }
    return 1;
}
