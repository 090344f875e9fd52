// A stand-in for the WeChat SDK: the same exports, and answers as its variant and the file ocean.ini beside it say.
//
// Every call it gets becomes one line of ocean_calls.txt beside it. See world/README.md for the variants and settings.
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#define OCEAN_EXPORT extern "C" __declspec(dllexport)

#ifndef OCEAN_REFUSES
#define OCEAN_REFUSES 0
#endif
#ifndef OCEAN_STATUS
#define OCEAN_STATUS 0
#endif
#ifndef OCEAN_DELAY_MS
#define OCEAN_DELAY_MS 20
#endif
#ifndef OCEAN_ID_SHIFT
#define OCEAN_ID_SHIFT 0
#endif
#ifndef OCEAN_ANSWERS
#define OCEAN_ANSWERS L"after"
#endif

namespace {

// As the SDK sees the record that it is given.
struct Delegate {
    void (*onEvent0)(std::int32_t code, const char* text);
    void (*onEvent1)(const void* data, std::uint32_t size);
    void (*onOpenResult)(std::uint32_t id, std::int32_t status);
};

// Never destroyed: a thread may still answer while the process ends.
struct State {
    std::mutex lock;
    Delegate* delegate = nullptr;
    std::uint32_t nextId = 1;
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
        CreateFileW((Folder() + L"ocean_calls.txt").c_str(), FILE_APPEND_DATA,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        const std::string text = line + "\n";
        DWORD written = 0;
        WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(file);
    }
}

std::wstring Setting(const wchar_t* key, const wchar_t* otherwise) {
    wchar_t text[256] = {};
    GetPrivateProfileStringW(L"ocean", key, otherwise, text, 256, (Folder() + L"ocean.ini").c_str());
    return text;
}

std::int32_t Number(const wchar_t* key, std::int32_t otherwise) {
    const std::wstring text = Setting(key, L"");
    return text.empty() ? otherwise : static_cast<std::int32_t>(std::stol(text));
}

struct Answer {
    std::uint32_t id;
    std::int32_t status;
    DWORD delayMs;
    std::wstring gate;  // the name of an event to wait for first
};

void Give(const Answer& answer) {
    Delegate* delegate = nullptr;
    {
        const std::lock_guard guard(TheState().lock);
        delegate = TheState().delegate;
    }
    Record("answer id=" + std::to_string(answer.id) + " status=" + std::to_string(answer.status));
    if (delegate != nullptr) {
        delegate->onOpenResult(answer.id, answer.status);
    }
    Record("answered id=" + std::to_string(answer.id));
}

// Waits for the answer's gate or its delay; false when the SDK ends first.
bool WaitForTurn(const Answer& answer) {
    const HANDLE stop = TheState().stop;
    if (answer.gate.empty()) {
        return WaitForSingleObject(stop, answer.delayMs) == WAIT_TIMEOUT;
    }
    const HANDLE gate = OpenEventW(SYNCHRONIZE, FALSE, answer.gate.c_str());
    if (gate == nullptr) {
        return false;
    }
    const HANDLE both[] = {gate, stop};
    const bool bTurn = WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(gate);
    return bTurn;
}

}  // namespace

OCEAN_EXPORT std::int32_t ocean_init(const char* kind, void* delegate) {
    auto* given = static_cast<Delegate*>(delegate);
    Record(std::string("init ") + kind);
    if (given == nullptr || !given->onEvent0 || !given->onEvent1 || !given->onOpenResult) {
        Record("init delegate incomplete");
        return -1;
    }
    {
        const std::lock_guard guard(TheState().lock);
        TheState().delegate = given;
    }
    given->onEvent0(1, "ready");
    given->onEvent1(&kind, sizeof kind);
    // Nobody reads this result: a value that looks like a failure shows it.
    return -7;
}

OCEAN_EXPORT std::uint32_t ocean_open_miniprogram(const char* appId, const char* appPath) {
    State& state = TheState();
    if (Number(L"refuse", OCEAN_REFUSES) != 0) {
        Record(std::string("open appId=") + appId + " appPath=" + appPath + " id=0");
        return 0;
    }
    std::uint32_t id = 0;
    {
        const std::lock_guard guard(state.lock);
        id = state.nextId++;
    }
    const std::wstring fixed = Setting(L"id", L"");
    if (!fixed.empty()) {
        id = static_cast<std::uint32_t>(std::stoul(fixed));
    }
    Record(std::string("open appId=") + appId + " appPath=" + appPath + " id=" + std::to_string(id));
    const Answer answer{id + static_cast<std::uint32_t>(Number(L"id_shift", OCEAN_ID_SHIFT)),
                        Number(L"status", OCEAN_STATUS), static_cast<DWORD>(Number(L"delay_ms", OCEAN_DELAY_MS)),
                        Setting(L"gate", L"")};
    const std::wstring answers = Setting(L"answers", OCEAN_ANSWERS);
    if (answers == L"inside") {
        Give(answer);
    } else if (answers == L"inside_thread") {
        std::thread(Give, answer).join();
    } else if (answers == L"after") {
        const std::lock_guard guard(state.lock);
        state.threads.emplace_back([answer] {
            if (WaitForTurn(answer)) {
                Give(answer);
            }
        });
    }
    // The open call itself may be made to hang for a while.
    const std::wstring hold = Setting(L"hold", L"");
    if (!hold.empty()) {
        if (const HANDLE gate = OpenEventW(SYNCHRONIZE, FALSE, hold.c_str())) {
            Record("holding id=" + std::to_string(id));
            WaitForSingleObject(gate, INFINITE);
            CloseHandle(gate);
        }
    }
    return id;
}

OCEAN_EXPORT void ocean_uninit() {
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
    Record("uninit");
}

OCEAN_EXPORT void ocean_check_installation() {
    Record("check_installation");
}

OCEAN_EXPORT void ocean_download_web_installer() {
    Record("download_web_installer");
}

#ifndef OCEAN_WITHOUT_INSTALL
OCEAN_EXPORT void ocean_install() {
    Record("install");
}
#endif
