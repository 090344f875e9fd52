#include "tests/unit/open/open_fixtures.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>

#include <gtest/gtest.h>

#include "support/beacons.h"

namespace {

std::mutex g_beaconLock;
std::vector<Beacon> g_vecBeacons;

}  // namespace

// Stands in for the transfer worker: nothing leaves the process.
void ReportStaticWithMIDImp(const std::wstring& url, bool bHasQuery) {
    const std::lock_guard guard(g_beaconLock);
    g_vecBeacons.emplace_back(url, bHasQuery);
}
void ReportYYBInstWithMID(const std::wstring& url) {
    ReportStaticWithMIDImp(url, false);
}
void ReportDot(const std::wstring& url) {
    ReportStaticWithMIDImp(url, false);
}
void SetBeaconMachineId(const std::wstring& /*machineId*/) {}

std::vector<Beacon> TakeBeacons() {
    const std::lock_guard guard(g_beaconLock);
    return std::exchange(g_vecBeacons, {});
}

std::filesystem::path WorldFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path() / L"world";
}

std::wstring UniqueName(const wchar_t* stem) {
    static std::atomic<int> counter{0};
    return std::wstring(stem) + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(counter++);
}

bool WaitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        Sleep(2);
    }
    return true;
}

CTempFolder::CTempFolder() : m_path(std::filesystem::temp_directory_path() / UniqueName(L"nxl_open")) {
    std::filesystem::remove_all(m_path);
    std::filesystem::create_directories(m_path);
}

CTempFolder::~CTempFolder() {
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
    EXPECT_FALSE(std::filesystem::exists(m_path)) << m_path << ": " << error.message();
}

CTestEvent::CTestEvent() : m_strName(UniqueName(L"nxl_open_event")) {
    m_hEvent.reset(CreateEventW(nullptr, TRUE, FALSE, m_strName.c_str()));
    EXPECT_TRUE(m_hEvent);
}

CStandInSdk::CStandInSdk(const char* variant, const std::filesystem::path& folder) : m_library(folder / L"ocean.dll") {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / variant / L"ocean.dll", m_library,
                               std::filesystem::copy_options::overwrite_existing);
}

void CStandInSdk::Set(const wchar_t* key, const std::wstring& value) {
    const std::filesystem::path settings = m_library.parent_path() / L"ocean.ini";
    EXPECT_TRUE(WritePrivateProfileStringW(L"ocean", key, value.c_str(), settings.c_str()));
}

std::vector<std::string> CStandInSdk::Calls() const {
    std::ifstream file(m_library.parent_path() / L"ocean_calls.txt");
    std::vector<std::string> calls;
    for (std::string line; std::getline(file, line);) {
        calls.push_back(line);
    }
    return calls;
}

bool CStandInSdk::WaitForCall(const std::string& call) const {
    return WaitUntil([&] {
        for (const std::string& line : Calls()) {
            if (line == call) {
                return true;
            }
        }
        return false;
    });
}

CRegistryValue::CRegistryValue(HKEY root, const std::wstring& key, const wchar_t* name, REGSAM view, DWORD type,
                               const std::vector<std::uint8_t>& data)
    : m_hRoot(root), m_strKey(key), m_strName(name), m_nView(view) {
    HKEY made = nullptr;
    EXPECT_EQ(RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE | view, nullptr, &made, nullptr),
              ERROR_SUCCESS);
    const CRegistryKey owner(made);
    EXPECT_EQ(RegSetValueExW(made, name, 0, type, data.data(), static_cast<DWORD>(data.size())), ERROR_SUCCESS);
}

CRegistryValue::~CRegistryValue() {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(m_hRoot, m_strKey.c_str(), 0, KEY_READ | KEY_WRITE | m_nView, &opened) == ERROR_SUCCESS) {
        const CRegistryKey owner(opened);
        RegDeleteValueW(opened, m_strName.c_str());
        DWORD values = 0;
        DWORD keys = 0;
        RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                         nullptr);
        if (values != 0 || keys != 0) {
            return;
        }
    }
    RegDeleteKeyExW(m_hRoot, m_strKey.c_str(), m_nView, 0);
}

std::vector<std::uint8_t> TextBytes(const std::wstring& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
    return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}

std::uint32_t RunToEnd(const std::filesystem::path& program, const std::wstring& arguments) {
    std::wstring commandLine = L"\"" + program.wstring() + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
        ADD_FAILURE() << "CreateProcessW " << program << ": " << GetLastError();
        return 0xFFFFFFFF;
    }
    const CKernelHandle process(started.hProcess);
    const CKernelHandle thread(started.hThread);
    EXPECT_EQ(WaitForSingleObject(process.get(), 30000), WAIT_OBJECT_0);
    DWORD code = 0xFFFFFFFF;
    GetExitCodeProcess(process.get(), &code);
    return code;
}
