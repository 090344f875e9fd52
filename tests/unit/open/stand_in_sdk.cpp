#include "tests/unit/open/stand_in_sdk.h"

#include <algorithm>
#include <fstream>
#include <mutex>

#include <gtest/gtest.h>

#include "foundation/windows_headers.h"
#include "support/beacons.h"
#include "tests/support/stand_in_process.h"

namespace {

std::mutex g_beaconLock;
std::vector<Beacon> g_vecBeacons;

}  // namespace

// The test program's own beacon entries stand in front of the library's.
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
    return WaitUntil([&] { return std::ranges::count(Calls(), call) > 0; });
}
