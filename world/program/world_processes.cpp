#include "world/program/world_processes.h"

#include "foundation/handle.h"

#include <tlhelp32.h>

#include "foundation/text_helpers.h"

namespace {

constexpr DWORD kReadyMs = 20000;
constexpr DWORD kLeaveMs = 5000;
constexpr DWORD kEndMs = 10000;
constexpr UINT kEnded = 1;

std::uint64_t StartTimeOf(HANDLE process) {
    FILETIME started = {};
    FILETIME other[3] = {};
    GetProcessTimes(process, &started, &other[0], &other[1], &other[2]);
    return std::uint64_t{started.dwHighDateTime} << 32 | started.dwLowDateTime;
}

bool EndNow(HANDLE process) {
    TerminateProcess(process, kEnded);
    return WaitForSingleObject(process, kEndMs) == WAIT_OBJECT_0;
}

bool LiesBelow(const wchar_t* program, const std::wstring& folder) {
    const std::wstring path = program;
    return path.size() > folder.size() &&
           CompareStringOrdinal(path.c_str(), static_cast<int>(folder.size()), folder.c_str(),
                                static_cast<int>(folder.size()), TRUE) == CSTR_EQUAL;
}

}  // namespace

std::string StartWorldProcess(const std::filesystem::path& program, const std::wstring& arguments,
                              const std::function<bool(const JournalEntry&)>& remember) {
    // The time makes the name one that no world before has used; the process holds the event from its start on.
    const std::wstring name = L"nexlet_world_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                              std::to_wstring(GetTickCount64()) + L"_" + program.stem().wstring();
    const CKernelHandle stop(CreateEventW(nullptr, TRUE, FALSE, (name + L"_stop").c_str()));
    const CKernelHandle ready(CreateEventW(nullptr, TRUE, FALSE, (name + L"_ready").c_str()));
    std::wstring commandLine =
        L"\"" + program.wstring() + L"\" --stop " + name + L"_stop --ready " + name + L"_ready " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION made = {};
    if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr,
                       program.parent_path().c_str(), &startup, &made) == FALSE) {
        return "it could not be started, system error " + std::to_string(GetLastError());
    }
    const CKernelHandle process(made.hProcess);
    const CKernelHandle thread(made.hThread);
    if (!remember({.kind = JournalEntry::Kind::Process,
                   .nProcessId = made.dwProcessId,
                   .nStartedAt = StartTimeOf(made.hProcess),
                   .strStop = Utf16ToUtf8(name + L"_stop")})) {
        EndNow(made.hProcess);
        return "the journal could not be written";
    }
    ResumeThread(made.hThread);
    const HANDLE both[] = {ready.get(), process.get()};
    if (WaitForMultipleObjects(2, both, FALSE, kReadyMs) != WAIT_OBJECT_0) {
        DWORD code = 0;
        GetExitCodeProcess(process.get(), &code);
        return code == STILL_ACTIVE ? "it did not get ready" : "it ended with exit code " + std::to_string(code);
    }
    return {};
}

bool EndWorldProcess(const JournalEntry& entry) {
    const CKernelHandle process(
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE, FALSE, entry.nProcessId));
    if (!process || StartTimeOf(process.get()) != entry.nStartedAt) {
        return true;
    }
    const CKernelHandle stop(OpenEventW(EVENT_MODIFY_STATE, FALSE, Utf8ToUtf16(entry.strStop).c_str()));
    if (stop) {
        SetEvent(stop.get());
    }
    return WaitForSingleObject(process.get(), stop ? kLeaveMs : 0) == WAIT_OBJECT_0 || EndNow(process.get());
}

bool EndProcessesBelow(const std::filesystem::path& folder) {
    const std::wstring below = folder.wstring() + L"\\";
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    bool done = snapshot.valid();
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != FALSE;
         more = Process32NextW(snapshot.get(), &entry)) {
        const CKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE,
                                                FALSE, entry.th32ProcessID));
        wchar_t path[MAX_PATH * 2] = {};
        DWORD size = MAX_PATH * 2;
        if (process && QueryFullProcessImageNameW(process.get(), 0, path, &size) != FALSE && LiesBelow(path, below)) {
            done = EndNow(process.get()) && done;
        }
    }
    return done;
}
