#include "foundation/log_file.h"

#include <memory>

#include "foundation/log.h"
#include "foundation/log_output.h"
#include "foundation/registry_names.h"
#include "foundation/wide_format.h"

namespace {

constexpr wchar_t kLogFileFormat[] = L"C:\\temp\\zolt\\Nexlet%d.log";

// Never destroyed: a thread may still log while the process ends.
std::shared_ptr<Log>& g_pLog = *new std::shared_ptr<Log>(std::make_shared<Log>());

}  // namespace

bool IsDebugValueOn(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status = RegGetValueW(HKEY_CURRENT_USER, kProgramKey, name, RRF_RT_ANY, nullptr, &value, &size);
    return status == ERROR_SUCCESS && size == sizeof(value) && value == 1;
}

void WriteLogText(const wchar_t* text) {
    g_pLog->Write(text);
}

void Log::Write(const wchar_t* text) const {
    if (g_bDebugLog.load(std::memory_order_relaxed) == 0) {
        return;
    }
    SYSTEMTIME now;
    GetLocalTime(&now);
    const std::wstring line = LogLine({now.wHour, now.wMinute, now.wSecond, now.wMilliseconds}, text);
    OutputDebugStringW(line.c_str());
    if (m_hFile.valid()) {
        DWORD written = 0;
        WriteFile(m_hFile.get(), line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written, nullptr);
    }
}

void Log::Open(const wchar_t* path) {
    m_hFile.reset(CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                              FILE_FLAG_WRITE_THROUGH, nullptr));
    if (m_hFile.valid()) {
        // Process ids are reused: the file keeps what it holds.
        SetFilePointer(m_hFile.get(), 0, nullptr, FILE_END);
    }
}

void TurnLogOn() {
    const bool mode = IsDebugValueOn(L"debug_modle");
    const bool log = IsDebugValueOn(L"debug_log");
    if (!mode && !log) {
        return;
    }
    g_bDebugLog.store(1);
    CreateDirectoryW(kLogFolder, nullptr);
    wchar_t path[MAX_PATH] = {};
    FormatWide(path, std::size(path), kLogFileFormat, GetCurrentProcessId());
    g_pLog->Open(path);
    g_pLog->Write(L"start");
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    g_pLog->Write(program);
}
