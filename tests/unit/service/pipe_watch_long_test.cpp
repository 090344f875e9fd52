// The watch over the caller's pipe at its real period, a minute.
#include <chrono>

#include "tests/unit/service/service_fixture.h"

namespace {

using PipeWatchLongTest = ServiceFixture;

TEST_F(PipeWatchLongTest, AGonePipeIsNoticedAfterTheMinuteAndNotSoonerAndABusyOneStays) {
    // Another caller of the same mark, whose only pipe instance is taken by its own service all the time.
    CCallerPipe busy(L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + m_strMark + L"_busy", L"");
    const auto pBusy = WxMiniProgramServiceEx::Create("busy", &m_host);
    pBusy->Init(kConfig, L"", m_strMark);
    ASSERT_TRUE(busy.WaitForClient()) << m_log.All();

    const auto begin = std::chrono::steady_clock::now();
    const auto passed = [begin] { return std::chrono::steady_clock::now() - begin; };
    Connect();
    std::this_thread::sleep_for(std::chrono::seconds(10));
    m_pCaller->Close();
    ASSERT_TRUE(WaitForLine("]Disconnected from server!")) << m_log.All();
    EXPECT_TRUE(m_host.Param(m_strId).bDLLWndExist) << "the loss of the connection alone does not count";

    while (passed() < std::chrono::milliseconds(59900)) {
        ASSERT_TRUE(m_host.Param(m_strId).bDLLWndExist) << m_log.All();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(Eventually([this] { return !m_host.Param(m_strId).bDLLWndExist; })) << m_log.All();
    EXPECT_TRUE(WaitForLine("CheckzoltDLLThread end,     = 42")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DoesNamedPipeExist , dwError=2")) << m_log.All();

    const std::string strBusyPipe = "\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + Utf16ToUtf8(m_strMark) + "_busy";
    EXPECT_TRUE(WaitForLine("but " + strBusyPipe + " pipe exist, do not quit process")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DoesNamedPipeExist , dwError=231")) << m_log.All();
    EXPECT_TRUE(m_host.Param("busy").bDLLWndExist);
    pBusy->Destroy();
}

}  // namespace
