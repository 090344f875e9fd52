#include "ipc/transport/write_gate.h"

// ntdll.dll has it in all versions, and no header of the SDK declares it. It resets an event and says whether it was
// set; 0 on success.
extern "C" LONG WINAPI NtResetEvent(HANDLE hEvent, LONG* pWasSet);

void CloseGate(HANDLE hGate) {
    // Nearly always the gate is open, and one call finds that and closes it. A wait and a reset would be two, and each
    // is some four microseconds under Wine.
    LONG nWasSet = 0;
    if (NtResetEvent(hGate, &nWasSet) == 0 && nWasSet != 0) {
        return;
    }
    WaitForSingleObject(hGate, kGateWaitMs);
    ResetEvent(hGate);
}
