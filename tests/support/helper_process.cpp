#include "tests/support/helper_process.h"

#include <tlhelp32.h>

#include "tests/support/handle_count.h"

namespace {

constexpr DWORD kEndMs = 10000;

}  // namespace

CHelperProcess::~CHelperProcess() {
    if (m_process.hProcess) {
        Kill();
        Log().Remove();
    }
}

bool CHelperProcess::Start(const std::wstring& exe, const std::wstring& arguments) {
    DWORD systemError = 0;
    return StartProgram(exe, L"\"" + exe + L"\" " + arguments, m_process, systemError) == CallerResult::Ok;
}

bool CHelperProcess::Attach(DWORD dwProcessId) {
    m_process.hProcess.reset(OpenProcess(PROCESS_ALL_ACCESS, FALSE, dwProcessId));
    m_process.dwProcessId = dwProcessId;
    return m_process.hProcess.valid();
}

bool CHelperProcess::IsRunning() const {
    return m_process.hProcess && WaitForSingleObject(m_process.hProcess.get(), 0) == WAIT_TIMEOUT;
}

DWORD CHelperProcess::WaitForEnd(std::uint32_t timeoutMs) const {
    DWORD exitCode = STILL_ACTIVE;
    if (WaitForSingleObject(m_process.hProcess.get(), timeoutMs) == WAIT_OBJECT_0) {
        GetExitCodeProcess(m_process.hProcess.get(), &exitCode);
    }
    return exitCode;
}

void CHelperProcess::Kill() {
    if (IsRunning()) {
        TerminateProcess(m_process.hProcess.get(), 99);
        WaitForSingleObject(m_process.hProcess.get(), kEndMs);
    }
}

DWORD CHelperProcess::HandleCount() const {
    return static_cast<DWORD>(HandleCountOf(m_process.hProcess.get()));
}

DWORD CHelperProcess::ThreadCount() const {
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    DWORD count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more != FALSE;
         more = Thread32Next(snapshot.get(), &entry)) {
        count += entry.th32OwnerProcessID == m_process.dwProcessId ? 1 : 0;
    }
    return count;
}

std::size_t CHelperProcess::PrivateBytes() const {
    // Counted page by page: the system's own figure is 0 under Wine.
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    for (std::uintptr_t at = 0;
         VirtualQueryEx(m_process.hProcess.get(), reinterpret_cast<const void*>(at), &region, sizeof region) != 0;
         at = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) {
            bytes += region.RegionSize;
        }
    }
    return bytes;
}
