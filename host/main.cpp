// The process: reads its command line, decides whether it is the first for its mark, and serves or forwards.
#include "foundation/windows_headers.h"

#include <imm.h>
#include <objbase.h>

#include <string>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/log_file.h"
#include "host/command_line.h"
#include "host/forwarder.h"
#include "host/helper_host.h"
#include "host/process_end.h"
#include "ipc/pipe_names.h"

namespace {

// No error dialog of the system, of a fault, of an unaligned access or of a file that is not there.
constexpr UINT kErrorMode =
    SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOALIGNMENTFAULTEXCEPT | SEM_NOOPENFILEERRORBOX;
static_assert(kErrorMode == 0x8007);

void RunMessageLoop() {
    MSG message;
    // A result of -1 is taken for a message, and the loop goes on.
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
            CommzoltHelperS::GetInstance()->Init(commandLine);
            // Behind the ready notice, which needs nothing of COM: loading it takes a tenth of the start.
            CoInitialize(nullptr);
            bApartment = true;
            RunMessageLoop();
        }
        // The name is given up here, before the clean-up that follows.
    }
    UninitializeSdks();
    if (bApartment) {
        CoUninitialize();
    }
    TerminateProcess(GetCurrentProcess(), 0);
    NXL_LOG(L"[%s(%d)] process exit!");
    return 0;
}
