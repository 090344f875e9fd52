#include "support/loading/sent_messages.h"

#include "foundation/thread.h"
#include "foundation/windows_headers.h"

void RunBesideSentMessages(const std::function<void()>& work) {
    const CKernelHandle thread = LaunchThread([&work] {
        work();
        return 0u;
    });
    if (!thread) {
        work();
        return;
    }
    const HANDLE handle = thread.get();
    constexpr DWORD kSentMessage = WAIT_OBJECT_0 + 1;
    while (MsgWaitForMultipleObjects(1, &handle, /*fWaitAll=*/FALSE, INFINITE, QS_SENDMESSAGE) == kSentMessage) {
        MSG message;
        PeekMessageW(&message, /*hWnd=*/nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);  // takes what was sent
    }
    WaitForSingleObject(handle, INFINITE);  // also where the wait above failed: work must not outlive this call
}
