// A process whose first act is an open through the installed WeChat client, with a desktop shortcut, so that the two
// threads of it use the libraries that are loaded late at the same time.
//
//   first_open_role.exe URL PICTURE_URL       exit code 0 when the answer is "1"
#include "foundation/windows_headers.h"

#include "foundation/text_helpers.h"
#include "foundation/thread.h"
#include "open/wx_client/wx_client.h"
#include "support/http/beacons.h"

// Nothing is sent.
void ReportStaticWithMIDImp(const std::wstring& /*url*/, bool /*bHasQuery*/, BeaconWorker /*worker*/) {}
void ReportYYBInstWithMID(const std::wstring& /*url*/) {}
void ReportDot(const std::wstring& /*url*/) {}
void SetBeaconMachineId(const std::wstring& /*machineId*/) {}

int wmain(int argc, wchar_t** argv) {
    if (argc != 3) {
        return 2;
    }
    AppOpenInfo info;
    info.urlScheme = Utf16ToUtf8(argv[1]);
    info.imageUrl = Utf16ToUtf8(argv[2]);
    info.wndname = "window";
    info.taskId = "task";
    info.create = true;
    info.shortcutName = "nexlet_first_open_" + std::to_string(GetCurrentProcessId());
    std::string result;
    // On a thread without an apartment, as in the helper.
    const CKernelHandle thread = LaunchThread([&] {
        WX_CLIENT::OpenWithWeChat(info, result);
        return 0u;
    });
    WaitForSingleObject(thread.get(), INFINITE);
    // As the helper ends: the other thread is not waited for.
    TerminateProcess(GetCurrentProcess(), result == "1" ? 0 : 1);
    return 1;
}
