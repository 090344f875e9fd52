#include "nexctl/helpers/look_helpers.h"

#include <algorithm>
#include <map>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/transport/pipe_names.h"
#include "nexctl/doctor/look_files.h"
#include "nexctl/doctor/look_processes.h"
#include "nexctl/log/helper_logs.h"

namespace {

std::uint64_t TicksOf(const FILETIME& time) {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

std::optional<std::uint64_t> AgeOf(std::uint32_t processId) {
    constexpr std::uint64_t kTicksPerSecond = 10000000;
    const CKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    FILETIME created = {};
    FILETIME ended = {};
    FILETIME kernel = {};
    FILETIME user = {};
    if (!process || GetProcessTimes(process.get(), &created, &ended, &kernel, &user) == FALSE) {
        return std::nullopt;
    }
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return TicksOf(now) > TicksOf(created) ? (TicksOf(now) - TicksOf(created)) / kTicksPerSecond : 0;
}

RunningHelper Describe(const HelperFact& fact, const std::map<std::uint32_t, LogFile>& logs) {
    RunningHelper helper;
    helper.processId = fact.processId;
    helper.mark = fact.mark;
    helper.program = fact.program;
    helper.version = FileVersionOf(Utf8ToUtf16(fact.program));
    helper.ageSeconds = AgeOf(fact.processId);
    std::vector<std::string> told = {fact.service};
    const auto log = logs.find(fact.processId);
    if (log != logs.end()) {
        helper.log = log->second.strPath;
        // The log knows what became of the service of the command line.
        told = log->second.summary.liveServices;
    }
    const HeldPipes pipes = LookForPipes(fact.processId);
    std::vector<std::string> connected;
    if (!fact.mark.empty()) {
        const std::wstring mark = Utf8ToUtf16(fact.mark);
        for (const std::wstring& name : pipes.connected) {
            connected.push_back(Utf16ToUtf8(name));
        }
        connected = ServicesOfPipes(connected, Utf16ToUtf8(ServicePipeName(mark, "")));
        const bool serves = std::ranges::any_of(pipes.served, [&](const std::wstring& name) {
            return CompareStringOrdinal(name.c_str(), -1, HostPipeName(mark).c_str(), -1, TRUE) == CSTR_EQUAL;
        });
        if (serves || pipes.read) {
            helper.serves = serves;
        }
    }
    helper.services = MergeServices(connected, told);
    return helper;
}

}  // namespace

std::vector<RunningHelper> FindRunningHelpers(const std::wstring& fileName) {
    std::map<std::uint32_t, LogFile> logs;
    for (LogFile& log : FindLogs()) {
        if (log.bRunning) {
            logs.emplace(log.nProcessId, std::move(log));
        }
    }
    std::vector<RunningHelper> helpers;
    for (const HelperFact& fact : LookForHelpers(fileName)) {
        helpers.push_back(Describe(fact, logs));
    }
    std::ranges::stable_sort(helpers, [](const RunningHelper& a, const RunningHelper& b) {
        return a.ageSeconds.value_or(0) > b.ageSeconds.value_or(0);
    });
    return helpers;
}
