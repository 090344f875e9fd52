// A machine where the mini-program application is not installed.
#include "tests/e2e/end_to_end.h"

namespace {

class NotInstalled : public CEndToEnd {};

TEST_F(NotInstalled, OpenOfAMiniProgramSaysUninstalledAndTouchesNoSdk) {
    m_sandbox.LayOcean(L"good");
    StartHelper();
    EXPECT_EQ(Open(MiniAppOpen("t")), "uninstalled");
    EXPECT_EQ(m_sandbox.OceanCalls(), "");
    EXPECT_EQ(Poll(MiniAppPoll("t")), "0");
}

TEST_F(NotInstalled, LogThatIsOffLeavesNoFile) {
    StartHelper();
    ExpectServed();
    EXPECT_TRUE(Log().Lines().empty());
}

}  // namespace
