// A stand-in for the YYB SDK: the same exports, and answers and state reports as the file pcyyb.ini beside it says.
//
// Every call it gets becomes one line of pcyyb_calls.txt beside it. See world/README.md for the settings.
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#define PCYYB_EXPORT extern "C" __declspec(dllexport)

#ifdef PCYYB_WITHOUT_LAUNCH
#define LaunchApplet LaunchAppletUnderAnotherName
#endif

namespace {

using Handler = void (*)(const char* text, std::int32_t code);

// Never destroyed: a thread may still report while the process ends.
struct State {
    std::mutex lock;
    Handler handler = nullptr;
    std::vector<std::thread> threads;
    HANDLE stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

State& TheState() {
    static State& state = *new State;
    return state;
}

std::wstring OwnFolder() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&OwnFolder), &module);
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    const std::wstring whole(path, length);
    return whole.substr(0, whole.rfind(L'\\') + 1);
}

const std::wstring& Folder() {
    static const std::wstring& folder = *new std::wstring(OwnFolder());
    return folder;
}

// One write per line, so that lines of two threads do not mix.
void Record(const std::string& line) {
    const HANDLE file =
        CreateFileW((Folder() + L"pcyyb_calls.txt").c_str(), FILE_APPEND_DATA,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        const std::string text = line + "\n";
        DWORD written = 0;
        WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(file);
    }
}

std::wstring Setting(const wchar_t* key, const wchar_t* otherwise = L"") {
    std::wstring text(4096, L'\0');
    text.resize(GetPrivateProfileStringW(L"pcyyb", key, otherwise, text.data(), static_cast<DWORD>(text.size()),
                                         (Folder() + L"pcyyb.ini").c_str()));
    return text;
}

std::int32_t Number(const wchar_t* key, std::int32_t otherwise) {
    const std::wstring text = Setting(key);
    return text.empty() ? otherwise : static_cast<std::int32_t>(std::stol(text));
}

std::string Narrow(const std::wstring& wide) {
    std::string narrow(wide.size() * 3, '\0');
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                               narrow.data(), static_cast<int>(narrow.size()), nullptr,
                                                               nullptr)));
    return narrow;
}

void Report(const std::string& text) {
    Handler handler = nullptr;
    {
        const std::lock_guard guard(TheState().lock);
        handler = TheState().handler;
    }
    Record("report " + text);
    if (handler != nullptr) {
        handler(text.c_str(), 7);
    }
    Record("reported " + text);
}

// Waits for the event that a setting names; without one, for its time. False when the SDK ends first.
bool WaitForTurn(const std::wstring& gateName, DWORD delayMs) {
    const HANDLE stop = TheState().stop;
    if (gateName.empty()) {
        return WaitForSingleObject(stop, delayMs) == WAIT_TIMEOUT;
    }
    const HANDLE gate = OpenEventW(SYNCHRONIZE, FALSE, gateName.c_str());
    if (gate == nullptr) {
        return false;
    }
    const HANDLE both[] = {gate, stop};
    const bool bTurn = WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(gate);
    return bTurn;
}

// Reports on a thread of the SDK's own.
void ReportLater(const std::string& text, const std::wstring& gate, DWORD delayMs) {
    const std::lock_guard guard(TheState().lock);
    TheState().threads.emplace_back([text, gate, delayMs] {
        if (WaitForTurn(gate, delayMs)) {
            Report(text);
        }
    });
}

}  // namespace

PCYYB_EXPORT std::int32_t Initialize(const char* text, std::int32_t length) {
    Record("Initialize " + std::string(text, static_cast<std::size_t>(length)));
    return Number(L"initialize", 0);
}

PCYYB_EXPORT void Uninitialize() {
    State& state = TheState();
    SetEvent(state.stop);
    std::vector<std::thread> threads;
    {
        const std::lock_guard guard(state.lock);
        threads.swap(state.threads);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Record("Uninitialize");
}

// What stands above the low byte must not be looked at.
PCYYB_EXPORT std::uint32_t CheckPcyyb() {
    Record("CheckPcyyb");
    return 0xABCDEF00u | static_cast<std::uint8_t>(Number(L"present", 1));
}

PCYYB_EXPORT std::uint32_t HasAppletLaunchSuccess() {
    Record("HasAppletLaunchSuccess");
    return 0xABCDEF00u | static_cast<std::uint8_t>(Number(L"login", 1));
}

PCYYB_EXPORT std::int32_t GetQimei(char* buffer, std::int32_t size) {
    Record("GetQimei " + std::to_string(size));
    std::string text = Narrow(Setting(L"qimei", LR"({"qimei32":"qone_32","qimei36":"qone_36"})"));
    if (Number(L"qimei_fill", 0) != 0) {
        // Every byte, without a terminator.
        text.resize(static_cast<std::size_t>(size), ' ');
    }
    if (text.size() > static_cast<std::size_t>(size)) {
        return -1;
    }
    std::memcpy(buffer, text.data(), text.size());
    return Number(L"qimei_result", 0);
}

PCYYB_EXPORT void RegisterStateChangeHandler(Handler handler) {
    Record("RegisterStateChangeHandler");
    {
        const std::lock_guard guard(TheState().lock);
        TheState().handler = handler;
    }
    const std::string text = Narrow(Setting(L"register_report"));
    if (text.empty()) {
        return;
    }
    if (Setting(L"register_reports", L"inside") == L"inside") {
        Report(text);
    } else {
        std::thread(Report, text).join();
    }
}

PCYYB_EXPORT std::int32_t LaunchApplet(const char* yybParam, std::int32_t length) {
    Record("LaunchApplet " + std::string(yybParam, static_cast<std::size_t>(length)));
    const std::string text = Narrow(Setting(L"report"));
    const std::wstring reports = Setting(L"reports", L"after");
    const std::wstring gate = Setting(L"gate");
    if (!text.empty()) {
        if (reports == L"inside") {
            Report(text);
        } else {
            ReportLater(text, gate, static_cast<DWORD>(Number(L"delay_ms", 20)));
        }
    }
    // The launch itself may be made to hang for a while.
    if (const std::wstring hold = Setting(L"hold"); !hold.empty()) {
        Record("holding");
        WaitForTurn(hold, 0);
    }
    const std::int32_t result = Number(L"launch", 0);
    SetLastError(static_cast<DWORD>(Number(L"launch_error", 0)));
    return result;
}
