#include "tests/support/sandbox.h"

#include <tlhelp32.h>

#include "foundation/handle.h"
#include "tests/support/desktop_hold.h"
#include "tests/support/unique_name.h"

namespace {

constexpr DWORD kEndMs = 10000;

void RemoveTree(const std::wstring& folder) {
    WIN32_FIND_DATAW found = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = found.cFileName;
            if (name == L"." || name == L"..") {
                continue;
            }
            if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
                RemoveTree(folder + L"\\" + name);
            } else {
                DeleteFileW((folder + L"\\" + name).c_str());
            }
        } while (FindNextFileW(search, &found) != FALSE);
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

bool SetValue(HKEY root, const wchar_t* key, REGSAM view, const wchar_t* name, DWORD type, const void* data,
              DWORD size) {
    HKEY opened = nullptr;
    if (RegCreateKeyExW(root, key, 0, nullptr, 0, KEY_WRITE | view, nullptr, &opened, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const CRegistryKey owner(opened);
    return RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(data), size) == ERROR_SUCCESS;
}

}  // namespace

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    return own.substr(0, own.find_last_of(L'\\'));
}

CSandbox::CSandbox() {
    HoldDesktop();
    m_strRoot = LR"(C:\temp\)" + UniqueName(L"nexlet");
    m_strApp = m_strRoot + L"\\app";
    m_strExe = m_strApp + L"\\bin\\nexlet.exe";
    CreateDirectoryW(LR"(C:\temp)", nullptr);
    RemoveTree(m_strRoot);
    m_bReady = CreateDirectoryW(m_strRoot.c_str(), nullptr) != FALSE &&
               CreateDirectoryW(m_strApp.c_str(), nullptr) != FALSE &&
               CreateDirectoryW((m_strApp + L"\\bin").c_str(), nullptr) != FALSE &&
               CopyFileW((OwnFolder() + L"\\nexlet.exe").c_str(), m_strExe.c_str(), TRUE) != FALSE;
}

CSandbox::~CSandbox() {
    EndPrograms();
    RemoveTree(m_strRoot);
}

void CSandbox::EndPrograms() const {
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != FALSE;
         more = Process32NextW(snapshot.get(), &entry)) {
        const CKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE | SYNCHRONIZE,
                                                FALSE, entry.th32ProcessID));
        wchar_t path[MAX_PATH] = {};
        DWORD size = MAX_PATH;
        if (process && QueryFullProcessImageNameW(process.get(), 0, path, &size) != FALSE && m_strExe == path) {
            TerminateProcess(process.get(), 99);
            WaitForSingleObject(process.get(), kEndMs);
        }
    }
}

void CSandbox::LayOcean(const std::wstring& variant, bool mlHost) {
    m_strOceanFolder = mlHost ? m_strApp : m_strApp + L"\\wxsdk";
    CreateDirectoryW(m_strOceanFolder.c_str(), nullptr);
    m_bReady = m_bReady && CopyFileW((OwnFolder() + L"\\world\\" + variant + L"\\ocean.dll").c_str(),
                                     (m_strOceanFolder + L"\\ocean.dll").c_str(), FALSE) != FALSE;
}

void CSandbox::SetOcean(const wchar_t* key, const std::wstring& value) {
    m_bReady = WritePrivateProfileStringW(L"ocean", key, value.c_str(), (m_strOceanFolder + L"\\ocean.ini").c_str()) !=
                   FALSE &&
               m_bReady;
}

std::string CSandbox::OceanCalls() const {
    const CFileHandle file(CreateFileW((m_strOceanFolder + L"\\ocean_calls.txt").c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
    std::string text(64 * 1024, '\0');
    DWORD read = 0;
    if (!file || ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) == FALSE) {
        return {};
    }
    text.resize(read);
    return text;
}

bool LayMiniProgramInstalled() {
    static constexpr wchar_t kKey[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\WeChatMiniProgram)";
    static constexpr wchar_t kValue[] = LR"(C:\temp\no such program\uninstall.exe)";
    return SetValue(HKEY_LOCAL_MACHINE, kKey, KEY_WOW64_64KEY, L"UninstallString", REG_SZ, kValue, sizeof kValue);
}

bool SwitchHelperLogOn() {
    const DWORD on = 1;
    return SetValue(HKEY_CURRENT_USER, LR"(Software\Ovrin\zolt)", 0, L"debug_log", REG_DWORD, &on, sizeof on);
}
