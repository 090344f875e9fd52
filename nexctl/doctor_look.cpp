// The doctor's look at a Windows machine.
#include <ctime>
#include <set>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "host/command_line.h"
#include "host/remote_config.h"
#include "ipc/pipe_names.h"
#include "nexctl/doctor.h"
#include "nexctl/helper_logs.h"
#include "open/install_probes.h"
#include "open/login_probes.h"
#include "open/process_command_line.h"
#include "open/yyb_sdk_files.h"
#include "support/sign_info.h"
#include "support/system_queries.h"

#include <shlwapi.h>

namespace {

constexpr DWORD kBriefMs = 1;

bool Exists(const std::wstring& path) {
    return PathFileExistsW(path.c_str()) != FALSE;
}

std::wstring FolderAbove(const std::wstring& path, int levels) {
    std::wstring folder = path;
    for (int i = 0; i < levels; ++i) {
        const std::size_t slash = folder.find_last_of(L'\\');
        folder.resize(slash == std::wstring::npos ? 0 : slash);
    }
    return folder;
}

PipeFact LookAtPipe(const std::wstring& name) {
    PipeFact pipe;
    pipe.name = Utf16ToUtf8(name);
    // Tells without connecting.
    if (WaitNamedPipeW(name.c_str(), kBriefMs) != FALSE) {
        pipe.state = PipeState::Free;
    } else if (GetLastError() != ERROR_FILE_NOT_FOUND) {
        pipe.state = PipeState::Busy;
    }
    return pipe;
}

// Asks a free pipe for its server by connecting to it, and leaves without a byte.
void AskForServer(const std::wstring& name, PipeFact& pipe) {
    const CFileHandle probe(
        CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ULONG id = 0;
    if (probe && GetNamedPipeServerProcessId(probe.get(), &id) != FALSE) {
        pipe.serverId = id;
        pipe.serverProgram = Utf16ToUtf8(GetProcessImagePath(static_cast<std::uint32_t>(id)));
    }
}

EventFact LookAtEvent(const std::wstring& name) {
    EventFact event;
    event.name = Utf16ToUtf8(name);
    const CKernelHandle handle(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
    event.exists = handle.valid();
    // The events looked at are manual-reset: a wait takes nothing away.
    event.signalled = handle && WaitForSingleObject(handle.get(), 0) == WAIT_OBJECT_0;
    return event;
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

std::vector<HelperFact> LookForHelpers(const std::wstring& program) {
    std::vector<HelperFact> helpers;
    std::set<std::uint32_t> ids;
    FindProcessesByName(program.substr(program.find_last_of(L'\\') + 1), ids);
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
        }
        helpers.push_back(std::move(helper));
    }
    return helpers;
}

std::string VersionOf(const std::wstring& path) {
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &unused);
    std::vector<char> block(size);
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (size == 0 || GetFileVersionInfoW(path.c_str(), 0, size, block.data()) == FALSE ||
        VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) == FALSE || info == nullptr) {
        return {};
    }
    return std::to_string(HIWORD(info->dwFileVersionMS)) + "." + std::to_string(LOWORD(info->dwFileVersionMS)) + "." +
           std::to_string(HIWORD(info->dwFileVersionLS)) + "." + std::to_string(LOWORD(info->dwFileVersionLS));
}

FileFact LookAtFile(const std::wstring& path, bool mustBeSigned, bool mustBeNew) {
    FileFact file;
    file.path = Utf16ToUtf8(path);
    file.mustBeSigned = mustBeSigned;
    file.mustBeNew = mustBeNew;
    file.exists = Exists(path);
    if (file.exists) {
        file.version = VersionOf(path);
        std::string thumbprint;
        std::string issuer;
        GetSignInfo(path, file.signer, thumbprint, issuer);
        file.trusted = IsTrustedSigner(path);
        file.isNew = IsFileVersionAtLeast(path);
    }
    return file;
}

std::optional<std::uint32_t> ReadNumber(const wchar_t* key, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    if (SHGetValueW(HKEY_CURRENT_USER, key, name, nullptr, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

void LookAtSdks(const std::wstring& program, bool mlHost, DoctorFacts& facts) {
    const std::wstring sdk = FolderAbove(program, 2);
    facts.wxSdk.push_back(LookAtFile((mlHost ? sdk : sdk + L"\\wxsdk") + L"\\ocean.dll", false, false));
    const std::wstring yyb = WXMINI_PROGRAM_COMMON::GetYybSdkDir(sdk, mlHost);
    if (!yyb.empty()) {
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\pcyyb_sdk_dll.dll", true, true));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\qimei.dll", true, false));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\AndrowsInstaller.exe", true, true));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\androws_logo.png", false, false));
    }
}

}  // namespace

DoctorFacts LookAtMachine(const std::string& mark, const std::string& service, const std::string& program) {
    DoctorFacts facts;
    const std::wstring wideMark = Utf8ToUtf16(mark);
    const std::wstring wideProgram = Utf8ToUtf16(program);
    facts.mark = mark;
    facts.service = service;
    facts.program = program;
    facts.programExists = Exists(wideProgram);
    facts.mutexName = Utf16ToUtf8(HostMutexName(wideMark));
    facts.mutexExists = CKernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, HostMutexName(wideMark).c_str())).valid();
    facts.hostPipe = LookAtPipe(HostPipeName(wideMark));
    facts.servicePipe = LookAtPipe(ServicePipeName(wideMark, service));
    if (facts.servicePipe.state == PipeState::Free) {
        AskForServer(ServicePipeName(wideMark, service), facts.servicePipe);
    }
    facts.hostGate = LookAtEvent(HostEventName(wideMark));
    facts.serviceGate = LookAtEvent(ServiceEventName(wideMark, service));
    facts.readyEvent = LookAtEvent(kReadyEventName);
    facts.helpers = LookForHelpers(wideProgram);
    for (const HelperFact& helper : facts.helpers) {
        if (helper.mark == mark && facts.mutexExists && facts.hostPipe.state != PipeState::Missing) {
            facts.hostPipe.serverId = helper.processId;
            facts.hostPipe.serverProgram = helper.program;
        }
    }
    facts.miniProgramInstalled = IsWxMiniProgramInstalled();
    facts.wechatInstalled = IsWeChatInstalled();
    facts.yybInstalled = IsAndrowsInstalled();
    LookAtSdks(wideProgram, mark.find("ml") != std::string::npos, facts);

    const LogSwitch log = ReadLogSwitch();
    facts.debugLog = log.nDebugLog;
    facts.debugModle = log.nDebugModle;
    facts.logFolder = LogFolder();
    facts.logFolderCanBeMade = LogFolderCanBeMade();
    for (const LogFile& file : FindLogs()) {
        facts.logs.push_back(file.strPath);
    }
    facts.now = static_cast<std::uint32_t>(std::time(nullptr));
    facts.lastInfoTime = ReadNumber(kRemoteConfigKey, kLastInfoTimeValue);
    facts.shortcutCreate = ReadNumber(kRemoteConfigKey, kAppShortcutCreateValue);
    LoginCache cache;
    ReadWxLoginCache(cache);
    facts.wxLogin = {cache.lt, cache.ls};
    cache = LoginCache();
    ReadYybLoginCache(cache);
    facts.yybLogin = {cache.lt, cache.ls};
    HKEY identity = nullptr;
    facts.identityKept =
        RegOpenKeyExW(HKEY_CURRENT_USER, L"SOFTWARE\\qimei", 0, kRead32BitView, &identity) == ERROR_SUCCESS;
    const CRegistryKey closed(identity);
    return facts;
}
