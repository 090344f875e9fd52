// A stand-in for the YYB SDK: the same exports, and answers and state reports as the file pcyyb.ini beside it says.
//
// Every call it gets becomes one line of pcyyb_calls.txt beside it. See world/README.md for the settings.
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <thread>

#include "client/native_lock.h"
#include "world/common/stand_in_files.h"

#define PCYYB_EXPORT extern "C" __declspec(dllexport)

#ifdef PCYYB_WITHOUT_LAUNCH
#define LaunchApplet LaunchAppletUnderAnotherName
#endif

namespace {

using Handler = void (*)(const char* text, std::int32_t code);

CStandInFiles& Files() {
    static auto& files = *new CStandInFiles(L"pcyyb");
    return files;
}

struct State {
    CNativeLock lock;
    Handler handler NXL_GUARDED_BY(lock) = nullptr;
};

State& TheState() {
    static State& state = *new State;
    return state;
}

void Record(const std::string& line) {
    Files().Record(line);
}

std::wstring Setting(const wchar_t* key, const wchar_t* otherwise = L"") {
    return Files().Setting(key, otherwise);
}

std::int32_t Number(const wchar_t* key, std::int32_t otherwise) {
    return Files().Number(key, otherwise);
}

void Report(const std::string& text) {
    Handler handler = nullptr;
    {
        State& state = TheState();
        const CNativeGuard guard(state.lock);
        handler = state.handler;
    }
    Record("report " + text);
    if (handler != nullptr) {
        handler(text.c_str(), 7);
    }
    Record("reported " + text);
}

// Calls the function of this process whose address a setting gives, as hexadecimal digits.
void CallBack(const wchar_t* key) {
    const std::wstring address = Setting(key);
    if (!address.empty()) {
        reinterpret_cast<void (*)()>(std::stoull(address, nullptr, 16))();
    }
}

// Reports on a thread of the SDK's own.
void ReportLater(const std::string& text, const std::wstring& gate, DWORD delayMs) {
    Files().RunThread([text, gate, delayMs] {
        if (Files().WaitForTurn(gate, delayMs)) {
            Report(text);
        }
    });
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        CallBack(L"load_calls");
        return Number(L"load_fails", 0) == 0;
    }
    return TRUE;
}

PCYYB_EXPORT std::int32_t Initialize(const char* text, std::int32_t length) {
    Record("Initialize " + std::string(text, static_cast<std::size_t>(length)));
    CallBack(L"initialize_calls");
    if (const std::wstring hold = Setting(L"initialize_hold"); !hold.empty()) {
        Record("starting");
        Files().WaitForTurn(hold, 0);
    }
    return Number(L"initialize", 0);
}

PCYYB_EXPORT void Uninitialize() {
    Files().StopThreads();
    Record("Uninitialize");
}

// The bits above the low byte must not be looked at.
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
    // The answer has no terminator.
    std::memcpy(buffer, text.data(), text.size());  // NOLINT(bugprone-not-null-terminated-result)
    return Number(L"qimei_result", 0);
}

PCYYB_EXPORT void RegisterStateChangeHandler(Handler handler) {
    Record("RegisterStateChangeHandler");
    {
        State& state = TheState();
        const CNativeGuard guard(state.lock);
        state.handler = handler;
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
        Files().WaitForTurn(hold, 0);
    }
    const std::int32_t result = Number(L"launch", 0);
    SetLastError(static_cast<DWORD>(Number(L"launch_error", 0)));
    return result;
}
