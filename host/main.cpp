// The process: reads its command line, decides whether it is the first for its mark, and serves or forwards.
#include "foundation/windows_headers.h"

#include <imm.h>
#include <objbase.h>

#include <string>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/log_file.h"
#include "host/command_line.h"
#include "host/crash_dump.h"
#include "host/forwarder.h"
#include "host/helper_host.h"
#include "host/process_end.h"
#include "host/request_rules.h"
#include "ipc/transport/pipe_names.h"
#include "support/system/late_ole32.h"

namespace {

// No error dialog of the system, of a fault, of an unaligned access or of a file that is not there.
constexpr UINT kErrorMode =
    SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOALIGNMENTFAULTEXCEPT | SEM_NOOPENFILEERRORBOX;
static_assert(kErrorMode == 0x8007);

void RunMessageLoop() {
    MSG message;
    // A result of -1 is taken for a message, and the loop continues.
    while (GetMessageW(&message, /*hWnd=*/nullptr, 0, 0) != 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR arguments, int) {
    SetErrorMode(kErrorMode);
    EndSilentlyOnFaults();
    const std::wstring commandLine = arguments;
    bool bApartment = false;
    TurnLogOn();
    KeepCrashDumps();
    ImmDisableIME(0);
    NXL_LOG(L"[%s(%d)] zolt strCmd=%s", commandLine.c_str());
    if (const auto mark = ReadSwitch(commandLine, kSwitchFrom, kShortSwitchSize)) {
        NXL_LOG(L"[%s(%d)] enter mark=%s", mark->c_str());
        const std::wstring name = HostMutexName(*mark);
        // No look at the handle: a mutex that cannot be made counts as a first start.
        const CKernelHandle mutex(CreateMutexW(/*attributes=*/nullptr, /*bInitialOwner=*/TRUE, name.c_str()));
        if (GetLastError() == ERROR_ALREADY_EXISTS) {
            NXL_LOG(L"[%s(%d)] exe mutex exist");
            ExistzoltExcute(commandLine);
        } else {
            NXL_LOG(L"[%s(%d)] start init");
            // The ready notice needs nothing of COM, and loading it takes a tenth of the start. A request of the
            // command line comes before the notice: an SDK that entered COM first would choose the apartment of this
            // thread.
            const bool bComFirst = CarriesRequest(commandLine);
            if (bComFirst) {
                Late::CoInitialize(nullptr);
            }
            CommzoltHelperS::GetInstance()->Init(commandLine);
            if (!bComFirst) {
                Late::CoInitialize(nullptr);
            }
            bApartment = true;
            RunMessageLoop();
        }
        // The name is given up here, before the clean-up that follows.
    }
    UninitializeSdks();
    if (bApartment) {
        Late::CoUninitialize();
    }
    TerminateProcess(GetCurrentProcess(), 0);
    NXL_LOG(L"[%s(%d)] process exit!");
    return 0;
}
