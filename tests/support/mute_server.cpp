// Serves one pipe for one client and then does nothing until it is killed: a caller's process that dies.
//
//   mute_server PIPE READY-EVENT
#include "tests/support/raw_pipe.h"

int main() {
    int count = 0;
    LPWSTR* arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count != 3) {
        return 2;
    }
    CRawPipe pipe = CRawPipe::Serve(arguments[1]);
    const CKernelHandle ready(OpenEventW(EVENT_MODIFY_STATE, /*bInheritHandle=*/FALSE, arguments[2]));
    if (!pipe.valid() || !ready || !SetEvent(ready.get()) || !pipe.WaitForClient()) {
        return 1;
    }
    // Everything that comes is read; nothing is answered.
    pipe.WaitForEnd(INFINITE);
    return 0;
}
