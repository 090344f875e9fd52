#include "tests/unit/open/wx_sdk/stand_in_sdk.h"

#include <mutex>

#include "support/http/beacons.h"
#include "tests/support/stand_in_process.h"

namespace {

std::mutex g_beaconLock;
std::vector<Beacon> g_vecBeacons;

}  // namespace

// The test program's own beacon entries are found before the library's.
void ReportStaticWithMIDImp(const std::wstring& url, bool bHasQuery, BeaconWorker /*worker*/) {
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

CStandInSdk::CStandInSdk(const char* variant, const std::filesystem::path& folder) : CStandInBeside(folder, L"ocean") {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / variant / L"ocean.dll", Library(),
                               std::filesystem::copy_options::overwrite_existing);
}
