#include "foundation/log_file.h"

#include <memory>

#include "foundation/log.h"
#include "foundation/log_output.h"
#include "foundation/wide_format.h"

namespace {

constexpr wchar_t kSwitchKey[] = L"Software\\Ovrin\\zolt";
constexpr wchar_t kLogFolder[] = L"C:\\temp\\zolt";
constexpr wchar_t kLogFileFormat[] = L"C:\\temp\\zolt\\Nexlet%d.log";
constexpr std::size_t kReservedLine = 512;

std::shared_ptr<Log> g_pLog = std::make_shared<Log>();

// The value's type is not looked at: four bytes that equal 1 switch the log on.
bool IsSwitchOn(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const LSTATUS status = SHGetValueW(HKEY_CURRENT_USER, kSwitchKey, name, nullptr, &value, &size);
    return status == ERROR_SUCCESS && size == sizeof(value) && value == 1;
}

}  // namespace

void WriteLogText(const wchar_t* text) {
    g_pLog->Write(text);
}

void Log::Write(const wchar_t* text) {
    if (g_bDebugLog.load(std::memory_order_relaxed) == 0) {
        return;
    }
    SYSTEMTIME now;
    GetLocalTime(&now);
    FormatWide(m_szTime, std::size(m_szTime), L"%d:%d:%d:%d", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    std::wstring line;
    line.reserve(kReservedLine);
    line += m_szTime;
    line += L'\t';
    line += text;
    line += L"\r\n";
    OutputDebugStringW(line.c_str());
    if (m_hFile != INVALID_HANDLE_VALUE) {
        DWORD written = 0;
        WriteFile(m_hFile, line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written, nullptr);
    }
}

void Log::Open(const wchar_t* path) {
    m_hFile = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                          FILE_FLAG_WRITE_THROUGH, nullptr);
    if (m_hFile != INVALID_HANDLE_VALUE) {
        SetFilePointer(m_hFile, 0, nullptr, FILE_END);
    }
}

void TurnLogOn() {
    const bool mode = IsSwitchOn(L"debug_modle");
    const bool log = IsSwitchOn(L"debug_log");
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
