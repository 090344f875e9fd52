#include "support/http/beacons.h"
#include "foundation/thread_annotations.h"

#include <cstdlib>
#include <ctime>

#include "foundation/lock.h"
#include "foundation/log.h"
#include "support/http/beacon_url.h"
#include "support/http/http_transfer.h"
#include "support/system/system_queries.h"

namespace {

// Never destroyed: a thread may still send a beacon while the process ends.
CLock& g_lockMachineId = *new CLock;
std::wstring g_strMachineId NXL_GUARDED_BY(g_lockMachineId);

std::wstring MachineId() {
    const CAutoLock guard(&g_lockMachineId);
    return g_strMachineId;
}

// Seeding right before the draw gives every beacon of one second the same number; the servers that count beacons rely
// on it. The test BeaconsOfOneSecondCarryTheSameNumber holds it.
std::int32_t NumberOfThisSecond() {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    return std::rand();
}

void Post(const std::wstring& url, BeaconWorker worker = BeaconWorker::StartAtNeed) {
    GetSharedHttpTransfer()->PostUrl(url, worker == BeaconWorker::StartAtNeed);
}

}  // namespace

void SetBeaconMachineId(const std::wstring& machineId) {
    const CAutoLock guard(&g_lockMachineId);
    g_strMachineId = machineId;
}

void ReportStaticWithMIDImp(const std::wstring& url, bool bHasQuery, BeaconWorker worker) {
    NXL_LOG(L"[%s(%d)] Report: %s sync : %d", url.c_str(), 0);
    const std::wstring plain = BeaconUrl(url, GetWindowsVersionCode());
    Post(StatisticsBeaconUrl(plain, bHasQuery, NumberOfThisSecond(), MachineId()), worker);
}

void ReportYYBInstWithMID(const std::wstring& url) {
    NXL_LOG(L"[%s(%d)] Report: %s sync : %d", url.c_str(), 0);
    Post(InstallBeaconUrl(BeaconUrl(url, GetWindowsVersionCode()), MachineId()));
}

void ReportDot(const std::wstring& url) {
    if (url.empty()) {
        return;
    }
    NXL_LOG(L"[%s(%d)] Report: %s sync : %d", url.c_str(), 0);
    Post(BeaconUrl(url, GetWindowsVersionCode()));
}
