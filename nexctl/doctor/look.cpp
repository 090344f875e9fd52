#include "nexctl/doctor/look.h"

#include <algorithm>
#include <ctime>

#include <settings.h>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "host/remote_config.h"
#include "ipc/transport/pipe_names.h"
#include "nexctl/doctor/look_files.h"
#include "nexctl/doctor/look_processes.h"
#include "nexctl/log/helper_logs.h"
#include "open/probes/install_probes.h"
#include "open/probes/login_probes.h"
#include "tooling/text_file.h"

#include <shlwapi.h>

namespace {

// A busy pipe gets this long to become free: a client that comes and goes is nothing wrong.
constexpr DWORD kBusyMs = 1000;
constexpr std::int64_t kDayMs = 24ll * 60 * 60 * 1000;

bool Exists(const std::wstring& path) {
    return PathFileExistsW(path.c_str()) != FALSE;
}

PipeFact LookAtPipe(const std::wstring& name, DWORD waitMs) {
    PipeFact pipe;
    pipe.name = Utf16ToUtf8(name);
    // Tells without connecting.
    if (WaitNamedPipeW(name.c_str(), waitMs) != FALSE) {
        pipe.state = PipeState::Free;
    } else if (GetLastError() != ERROR_FILE_NOT_FOUND) {
        pipe.state = PipeState::Busy;
    }
    return pipe;
}

// Helper and callers ask for all rights. Who has fewer may still look: an elevated process lets others of its logon
// read and wait.
EventFact LookAtEvent(const std::wstring& name) {
    EventFact event;
    event.name = Utf16ToUtf8(name);
    const CKernelHandle all(OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str()));
    event.denied = !all && GetLastError() == ERROR_ACCESS_DENIED;
    const CKernelHandle handle(OpenEventW(SYNCHRONIZE, FALSE, name.c_str()));
    event.exists = event.denied || handle.valid();
    // The events looked at are manual-reset: a wait takes nothing away.
    event.signalled = handle && WaitForSingleObject(handle.get(), 0) == WAIT_OBJECT_0;
    return event;
}

void LookAtMutex(const std::wstring& name, DoctorFacts& facts) {
    facts.mutexName = Utf16ToUtf8(name);
    const CKernelHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name.c_str()));
    facts.mutexDenied = !mutex && GetLastError() == ERROR_ACCESS_DENIED;
    facts.mutexExists = facts.mutexDenied || mutex.valid();
}

std::optional<std::uint32_t> ReadNumber(const wchar_t* key, const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof value;
    if (SHGetValueW(HKEY_CURRENT_USER, key, name, nullptr, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

void LookAtHelpers(const DoctorSubject& subject, DoctorFacts& facts) {
    const std::wstring mark = Utf8ToUtf16(subject.mark);
    const std::wstring own = Utf8ToUtf16(subject.program.value_or(subject.ownProgram));
    LookAtMutex(HostMutexName(mark), facts);
    facts.helpers = LookForHelpers(own.substr(own.find_last_of(L'\\') + 1));
    facts.hostPipe = LookAtPipe(HostPipeName(mark), kBusyMs);
    std::vector<std::uint32_t> ids;
    facts.program = Utf16ToUtf8(own);
    for (const HelperFact& helper : facts.helpers) {
        if (helper.mark != subject.mark) {
            continue;
        }
        ids.push_back(helper.processId);
        if (!subject.service && facts.service.empty()) {
            facts.service = helper.service;
        }
        // Its SDKs lie beside it, not beside nexctl.
        if (!subject.program && !helper.program.empty()) {
            facts.program = helper.program;
        }
    }
    facts.servicePipe = LookAtPipe(ServicePipeName(mark, facts.service), 1);
    if (!ids.empty() && facts.hostPipe.state != PipeState::Missing) {
        facts.hostPipe.holder = LookForHolder(HostPipeName(mark), ids, facts.hostPipe.serverId);
        for (const HelperFact& helper : facts.helpers) {
            if (helper.processId == facts.hostPipe.serverId) {
                facts.hostPipe.serverProgram = helper.program;
            }
        }
    }
    facts.programExists = Exists(Utf8ToUtf16(facts.program));
}

void LookAtLostStarts(const std::vector<LogFile>& logs, DoctorFacts& facts) {
    const auto lost = std::ranges::find_if(
        logs, [](const LogFile& file) { return file.summary.end == LogEnd::LostStart && !file.bRunning; });
    if (lost != logs.end()) {
        constexpr std::uint64_t kFileTimePerSecond = 10000000;
        const std::uint64_t now = FileTimeBefore(0);
        facts.lostStart = {lost->strPath, now > lost->nWrittenAt ? (now - lost->nWrittenAt) / kFileTimePerSecond : 0};
    }
}

void LookAtLog(const DoctorSubject& subject, DoctorFacts& facts) {
    facts.debugLog = ReadSwitchFact(L"debug_log");
    facts.debugModle = ReadSwitchFact(L"debug_modle");
    facts.logFolder = LogFolder();
    facts.logFolderCanBeMade = LogFolderCanBeMade();
    facts.logFolderIsFile = LogFolderIsFile();
    facts.logDiskFree = LogDiskFree();
    LogWish wish;
    wish.strMark = subject.mark;
    const std::vector<LogFile> files = FindLogs();
    for (const LogFile& file : files) {
        facts.logs.push_back(file.strPath);
    }
    const std::vector<LogFile> own = ChooseLogs(files, wish);
    LookAtLostStarts(own, facts);
    // A second start lasts some seconds, and its log says nothing about the helper that serves.
    auto chosen = std::ranges::find_if(own, [](const LogFile& file) {
        return file.summary.end != LogEnd::LostStart && file.summary.end != LogEnd::HandedOver;
    });
    if (chosen == own.end()) {
        chosen = own.begin();
    }
    std::string bytes;
    if (own.empty() || !ReadTextFile(chosen->strPath, bytes)) {
        return;
    }
    LogFact& log = facts.log.emplace();
    log.path = chosen->strPath;
    log.running = chosen->bRunning;
    log.summary = SummariseLog(bytes);
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    const std::int64_t today = ((now.wHour * 60ll + now.wMinute) * 60 + now.wSecond) * 1000 + now.wMilliseconds;
    // The log has no date. A line that is a moment ahead of the clock was written by another thread meanwhile.
    const std::int64_t passed = (today - log.summary.nLastMs % kDayMs + kDayMs) % kDayMs;
    log.silentMs = passed > kDayMs / 2 ? 0 : passed;
}

void LookAtRegistry(DoctorFacts& facts) {
    facts.now = static_cast<std::uint32_t>(std::time(nullptr));
    facts.lastInfoTime = ReadNumber(kRemoteConfigKey, kLastInfoTimeValue);
    facts.shortcutCreate = ReadNumber(kRemoteConfigKey, kAppShortcutCreateValue);
    facts.infoHost = Utf16ToUtf8(NEXLET_INFO_HOST);
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
}

}  // namespace

DoctorFacts LookAtMachine(const DoctorSubject& subject) {
    DoctorFacts facts;
    facts.mark = subject.mark;
    facts.service = subject.service.value_or("");
    LookAtHelpers(subject, facts);
    const std::wstring mark = Utf8ToUtf16(subject.mark);
    facts.hostGate = LookAtEvent(HostEventName(mark));
    facts.serviceGate = LookAtEvent(ServiceEventName(mark, facts.service));
    facts.readyEvent = LookAtEvent(kReadyEventName);
    facts.miniProgramInstalled = IsWxMiniProgramInstalled();
    facts.wechatInstalled = IsWeChatInstalled();
    facts.yybInstalled = IsAndrowsInstalled();
    LookAtSdks(Utf8ToUtf16(facts.program), subject.mark.find("ml") != std::string::npos, facts);
    LookAtLog(subject, facts);
    LookAtRegistry(facts);
    return facts;
}
