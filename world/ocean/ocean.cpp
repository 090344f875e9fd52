// A stand-in for the WeChat SDK: the same exports, and answers as its variant and the file ocean.ini beside it say.
//
// Every call it gets becomes one line of ocean_calls.txt beside it. See world/README.md for the variants and settings.
#include <windows.h>

#include <objbase.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "client/native_lock.h"
#include "world/common/stand_in_files.h"

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

CStandInFiles& Files() {
    static auto& files = *new CStandInFiles(L"ocean");
    return files;
}

struct State {
    CNativeLock lock;
    Delegate* delegate NXL_GUARDED_BY(lock) = nullptr;
    std::uint32_t nextId NXL_GUARDED_BY(lock) = 1;
    std::atomic<bool> ending{false};
};

State& TheState() {
    static State& state = *new State;
    return state;
}

void Record(const std::string& line) {
    Files().Record(line);
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
        State& state = TheState();
        const CNativeGuard guard(state.lock);
        delegate = state.delegate;
    }
    Record("answer id=" + std::to_string(answer.id) + " status=" + std::to_string(answer.status));
    if (delegate != nullptr) {
        delegate->onOpenResult(answer.id, answer.status);
    }
    Record("answered id=" + std::to_string(answer.id));
}

// Uses a whole processor until the SDK ends.
void Burn() {
    for (volatile std::uint32_t n = 0; !TheState().ending.load();) {
        n = n + 1;
    }
}

// Waits for an event on the caller's thread. bAnswers: windows of that thread answer what is sent to them in that time,
// and what is posted to them stays where it is.
void Hold(HANDLE gate, bool bAnswers) {
    const DWORD wakes = bAnswers ? QS_SENDMESSAGE : 0;
    while (MsgWaitForMultipleObjects(1, &gate, FALSE, INFINITE, wakes) != WAIT_OBJECT_0) {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
    }
}

// Waits for the event that a setting names. False when there is no such setting or event.
bool HoldBy(const wchar_t* key, const std::string& what) {
    const std::wstring name = Files().Setting(key);
    const HANDLE gate = name.empty() ? nullptr : OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
    if (gate == nullptr) {
        return false;
    }
    Record("holding " + what);
    Hold(gate, Files().Number(L"hold_answers", 0) != 0);
    CloseHandle(gate);
    return true;
}

// Enters COM as an SDK with threads of its own does, and leaves it again.
void EnterCom() {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    Record("com " + std::to_string(static_cast<std::uint32_t>(entered)));
    if (SUCCEEDED(entered)) {
        CoUninitialize();
    }
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
    if (reason == DLL_PROCESS_ATTACH) {
        HoldBy(L"hold_attach", "attach");
    }
    return TRUE;
}

OCEAN_EXPORT std::int32_t ocean_init(const char* kind, void* delegate) {
    auto* given = static_cast<Delegate*>(delegate);
    Record(std::string("init ") + kind);
    if (given == nullptr || !given->onEvent0 || !given->onEvent1 || !given->onOpenResult) {
        Record("init delegate incomplete");
        return -1;
    }
    {
        State& state = TheState();
        const CNativeGuard guard(state.lock);
        state.delegate = given;
    }
    if (const std::wstring address = Files().Setting(L"init_calls"); !address.empty()) {
        reinterpret_cast<void (*)()>(std::stoull(address, nullptr, 16))();
    }
    given->onEvent0(1, "ready");
    given->onEvent1(static_cast<const void*>(&kind), sizeof kind);
    // The helper does not read this result: a value that looks like a failure shows it.
    return -7;
}

OCEAN_EXPORT std::uint32_t ocean_open_miniprogram(const char* appId, const char* appPath) {
    State& state = TheState();
    if (Files().Number(L"refuse", OCEAN_REFUSES) != 0) {
        Record(std::string("open appId=") + appId + " appPath=" + appPath + " id=0");
        return 0;
    }
    std::uint32_t id = 0;
    {
        const CNativeGuard guard(state.lock);
        id = state.nextId++;
    }
    const std::wstring fixed = Files().Setting(L"id");
    if (!fixed.empty()) {
        id = static_cast<std::uint32_t>(std::stoul(fixed));
    }
    Record(std::string("open appId=") + appId + " appPath=" + appPath + " id=" + std::to_string(id));
    const Answer answer{id + static_cast<std::uint32_t>(Files().Number(L"id_shift", OCEAN_ID_SHIFT)),
                        Files().Number(L"status", OCEAN_STATUS),
                        static_cast<DWORD>(Files().Number(L"delay_ms", OCEAN_DELAY_MS)), Files().Setting(L"gate")};
    const std::wstring answers = Files().Setting(L"answers", OCEAN_ANSWERS);
    if (answers == L"inside") {
        Give(answer);
    } else if (answers == L"inside_thread") {
        std::thread(Give, answer).join();
    } else if (answers == L"after") {
        Files().RunThread([answer] {
            if (Files().WaitForTurn(answer.gate, answer.delayMs)) {
                Give(answer);
            }
        });
    }
    for (std::int32_t burning = Files().Number(L"burn", 0); burning > 0; --burning) {
        Files().RunThread(Burn);
    }
    if (Files().Number(L"com", 0) != 0) {
        EnterCom();
    }
    if (Files().Number(L"crash", 0) != 0) {
        Record("crashing");
        *static_cast<volatile int*>(nullptr) = 1;  // NOLINT(clang-analyzer-core.NullDereference): a crash is asked for
    }
    // The open call itself may be made to hang for a while.
    HoldBy(L"hold", "id=" + std::to_string(id));
    return id;
}

OCEAN_EXPORT void ocean_uninit() {
    TheState().ending.store(true);
    Files().StopThreads();
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
