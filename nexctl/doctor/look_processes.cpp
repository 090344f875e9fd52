#include "nexctl/doctor/look_processes.h"

#include <algorithm>
#include <memory>
#include <set>
#include <utility>

#include "client/native_lock.h"
#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "host/command_line.h"
#include "ipc/transport/pipe_names.h"
#include "open/probes/process_command_line.h"
#include "support/system/system_queries.h"

namespace {

// A busy machine may need long for all handles together, but for one of them this is too long.
constexpr DWORD kHandleMs = 2000;
// A helper has some dozens of handles; numbers are given in steps of four from the lowest free one.
constexpr ULONG_PTR kMostHandles = 0x4000;

bool IsSameName(const std::wstring& a, const std::wstring& b) {
    return CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_EQUAL;
}

LONG NTAPI QueryProcess(HANDLE process, int infoClass, void* block, ULONG size, ULONG* length) {
    using Query = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    static const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess")));
    return query != nullptr ? query(process, infoClass, block, size, length) : -1;
}

LONG NTAPI ReadMemory(HANDLE process, std::uint64_t address, void* target, std::uint64_t size, std::uint64_t* read) {
    SIZE_T got = 0;
    const BOOL done = ReadProcessMemory(process, reinterpret_cast<const void*>(address), target, size, &got);
    if (read != nullptr) {
        *read = got;
    }
    return done != FALSE ? 0 : -1;
}

// The helper itself looks with services that a program of its own width does not need.
ProcessMemoryApi OwnWidthApi() {
    ProcessMemoryApi api;
    api.NtWow64QueryInformationProcess64 = QueryProcess;
    api.NtWow64ReadVirtualMemory64 = ReadMemory;
    return api;
}

std::vector<std::string> DialogsOf(DWORD processId) {
    struct Search {
        DWORD processId;
        std::vector<std::string> titles;
    } search{processId, {}};
    EnumWindows(
        [](HWND window, LPARAM parameter) -> BOOL {
            auto* const found = reinterpret_cast<Search*>(parameter);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            wchar_t name[32] = {};
            GetClassNameW(window, name, static_cast<int>(std::size(name)));
            // The class of every dialog of the system.
            if (owner == found->processId && IsWindowVisible(window) && std::wstring(name) == L"#32770") {
                wchar_t title[256] = {};
                // Asks the window manager and not the window, which may not answer.
                InternalGetWindowText(window, title, static_cast<int>(std::size(title)));
                found->titles.push_back(Utf16ToUtf8(title));
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.titles;
}

std::optional<std::uint32_t> SessionOf(DWORD processId) {
    DWORD session = 0;
    return ProcessIdToSessionId(processId, &session) != FALSE ? std::optional<std::uint32_t>(session) : std::nullopt;
}

constexpr wchar_t kPipePrefix[] = LR"(\\.\pipe)";

struct PipeEnd {
    std::wstring name;  // empty: the handle is not of a pipe
    bool served = false;
};

PipeEnd PipeEndOf(HANDLE handle) {
    DWORD flags = 0;
    if (GetFileType(handle) != FILE_TYPE_PIPE || GetNamedPipeInfo(handle, &flags, nullptr, nullptr, nullptr) == FALSE) {
        return {};
    }
    struct {
        FILE_NAME_INFO info;
        wchar_t rest[MAX_PATH * 2];
    } name = {};
    if (GetFileInformationByHandleEx(handle, FileNameInfo, &name, sizeof name) == FALSE) {
        return {};
    }
    return {kPipePrefix + std::wstring(name.info.FileName, name.info.FileNameLength / sizeof(wchar_t)),
            (flags & PIPE_SERVER_END) != 0};
}

struct HandleLook {
    std::uint32_t processId = 0;
    CNativeLock lock;
    // The waiting thread takes what there is when its time is over.
    HeldPipes pipes NXL_GUARDED_BY(lock);
    std::uint32_t asked NXL_GUARDED_BY(lock) = 0;  // how many handles it has come to
};

void LookThroughHandles(HandleLook& look) {
    const CKernelHandle process(OpenProcess(PROCESS_DUP_HANDLE, FALSE, look.processId));
    if (!process) {
        return;
    }
    for (ULONG_PTR value = 4; value < kMostHandles; value += 4) {
        {
            const CNativeGuard guard(look.lock);
            ++look.asked;
        }
        HANDLE copy = nullptr;
        if (DuplicateHandle(process.get(), reinterpret_cast<HANDLE>(value), GetCurrentProcess(), &copy, 0, FALSE,
                            DUPLICATE_SAME_ACCESS) == FALSE) {
            continue;
        }
        const CKernelHandle owner(copy);
        PipeEnd end = PipeEndOf(copy);
        if (!end.name.empty()) {
            const CNativeGuard guard(look.lock);
            (end.served ? look.pipes.served : look.pipes.connected).push_back(std::move(end.name));
        }
    }
    const CNativeGuard guard(look.lock);
    look.pipes.read = true;
}

DWORD WINAPI LookThread(void* parameter) {
    const std::unique_ptr<std::shared_ptr<HandleLook>> look(static_cast<std::shared_ptr<HandleLook>*>(parameter));
    LookThroughHandles(**look);
    return 0;
}

}  // namespace

std::optional<std::uint32_t> OwnSession() {
    return SessionOf(GetCurrentProcessId());
}

std::vector<HelperFact> LookForHelpers(const std::wstring& fileName, std::optional<std::uint32_t> ownSession) {
    std::vector<HelperFact> helpers;
    std::set<std::uint32_t> ids;
    FindProcessesByName(fileName, ids);
    for (const std::uint32_t id : ids) {
        HelperFact helper;
        helper.processId = id;
        helper.program = Utf16ToUtf8(GetProcessImagePath(id));
        const CKernelHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, id));
        std::wstring commandLine;
        if (process) {
            ReadProcessCommandLine(process.get(), commandLine, OwnWidthApi());
        }
        if (const auto mark = ReadSwitch(commandLine, kSwitchFrom, kShortSwitchSize)) {
            helper.mark = Utf16ToUtf8(*mark);
            helper.hostPipe = Utf16ToUtf8(HostPipeName(*mark));
            if (const auto service = ReadSwitch(commandLine, kSwitchServiceId, kShortSwitchSize)) {
                helper.service = Utf16ToUtf8(*service);
                helper.servicePipe = Utf16ToUtf8(ServicePipeName(*mark, helper.service));
            }
        }
        helper.dialogs = DialogsOf(id);
        const std::optional<std::uint32_t> session = SessionOf(id);
        helper.otherSession = session && ownSession && *session != *ownSession;
        helpers.push_back(std::move(helper));
    }
    return helpers;
}

HeldPipes LookForPipes(std::uint32_t processId) {
    const auto look = std::make_shared<HandleLook>();
    look->processId = processId;
    // A handle of another process may be one whose queries wait; then this thread continues without an answer.
    auto parameter = std::make_unique<std::shared_ptr<HandleLook>>(look);
    const CKernelHandle thread(CreateThread(nullptr, 0, LookThread, parameter.get(), 0, nullptr));
    if (thread) {
        (void)parameter.release();  // the thread's
    }
    std::uint32_t seen = 0;
    while (thread && WaitForSingleObject(thread.get(), kHandleMs) != WAIT_OBJECT_0) {
        const CNativeGuard guard(look->lock);
        if (look->asked == seen) {
            break;
        }
        seen = look->asked;
    }
    const CNativeGuard guard(look->lock);
    return look->pipes;
}

PipeHolder LookForHolder(const std::wstring& pipeName, const std::vector<std::uint32_t>& processIds,
                         std::uint32_t& holderId) {
    bool allRead = true;
    for (const std::uint32_t id : processIds) {
        const HeldPipes pipes = LookForPipes(id);
        allRead = allRead && pipes.read;
        if (std::ranges::any_of(pipes.served, [&](const std::wstring& name) { return IsSameName(name, pipeName); })) {
            holderId = id;
            return PipeHolder::Helper;
        }
    }
    return allRead ? PipeHolder::Stranger : PipeHolder::NotTold;
}
