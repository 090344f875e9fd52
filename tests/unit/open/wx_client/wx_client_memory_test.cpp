// Opens through the WeChat client while memory is short.
#include "open/wx_client/wx_client.h"

#include <optional>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "open/wx_client/wx_client_flow.h"
#include "tests/support/counted_memory.h"
#include "tests/support/log_capture.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::size_t kLarge = 100000;

AppOpenInfo LargeOpen() {
    AppOpenInfo info;
    info.urlScheme = "nexlet-nobody://x";
    info.wndname = Utf16ToUtf8(UniqueName(L"window"));
    info.taskId = "task";
    info.show = true;
    info.name = std::string(kLarge, 'n');
    info.timeOut = 1;
    return info;
}

TEST(WxClientMemory, ACopyIsWholeOrThereIsNone) {
    const AppOpenInfo info = LargeOpen();
    std::uint64_t allowed = 0;
    for (bool bMore = true; bMore; ++allowed) {
        std::unique_ptr<AppOpenInfo> copy;
        {
            const CAllocationFault fault(allowed);
            copy = WX_CLIENT::CopyForThread(info);
            bMore = fault.Happened();
        }
        ASSERT_EQ(copy == nullptr, bMore) << "after " << allowed << " allocations";
        if (copy != nullptr) {
            EXPECT_EQ(copy->name, info.name);
            EXPECT_EQ(copy->urlScheme, info.urlScheme);
        }
    }
    EXPECT_GT(allowed, 2u);
}

TEST(WxClientMemory, AThreadWithoutACopyIsStartedAndBreaksOff) {
    const CPrivateRegistry registry;
    const CRegistryValue installed(HKEY_LOCAL_MACHINE,
                                   L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Weixin",
                                   L"UninstallString", 0, REG_SZ, TextBytes(L"C:\\x\\u.exe"));
    const AppOpenInfo info = LargeOpen();
    const LogCapture log;
    std::string result = "untouched";
    {
        const CLargeAllocationFault fault(kLarge);
        WX_CLIENT::OpenWithWeChat(info, result);
    }
    EXPECT_EQ(result, "0") << "no program serves the scheme";
    EXPECT_TRUE(WaitUntil([&] { return log.Has("PopWxLoadingWnd begin"); })) << log.All();
    EXPECT_EQ(log.Lines().size(), 1u) << log.All();
}

}  // namespace
