// An instance's life: names, connection, threads, and the ways it ends.
#include "service/service_instance.h"

#include <atomic>
#include <thread>
#include <vector>

#include "open/request/mini_program_service.h"
#include "open/wx_sdk/wx_api.h"
#include "service/watcher_edge.h"
#include "tests/support/json_of.h"
#include "tests/unit/service/service_fixture.h"

namespace {

class ServiceInstanceTest : public ServiceFixture {
  protected:
    void DelayedDestroy() {
        const CAutoLock guard(&m_host.m_lockInstance);
        m_pInstance->DelayedDestroy();
    }

    // Sets the delay of a later destroy, and starts a delayed check with it.
    void SetDelay(int nMilliseconds) {
        m_pInstance->DelayCheckWndStatus(
            CRequestOf(8, "{\"p1\":\"{\\\"interval\\\":" + std::to_string(nMilliseconds) + "}\"}"));
    }
};

TEST_F(ServiceInstanceTest, ConnectsToTheCallersPipeAndSendsOnIt) {
    Connect();
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "{\"message_type\":12}"), 1);
    EXPECT_EQ(m_pCaller->Receive(), "{\"message_type\":12}");
    EXPECT_TRUE(m_log.Has("SendIPCMessage begin")) << m_log.All();
    EXPECT_TRUE(m_log.Has("Type=12, Message={\"message_type\":12}")) << m_log.All();
    EXPECT_FALSE(m_log.Has("SendIPCMessage end")) << m_log.All();
}

TEST_F(ServiceInstanceTest, BuildsItsNamesFromTheMarkAndTheServiceId) {
    Init();
    EXPECT_TRUE(m_log.Has("]Init m_strMark=" + Utf16ToUtf8(m_strMark) +
                          ", m_strPipeName=\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + Utf16ToUtf8(m_strMark) +
                          "_42, m_strEventName=Global\\NamedEventzoltService_" + Utf16ToUtf8(m_strMark) + "_42"))
        << m_log.All();
}

TEST_F(ServiceInstanceTest, AnEmptyMarkLeavesTwoUnderscoresInARow) {
    const CAutoLock guard(&m_host.m_lockInstance);
    m_pInstance->Init(kConfig, L"", L"");
    EXPECT_EQ(m_host.Param(m_strId).strPipeName, L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE__42");
}

TEST_F(ServiceInstanceTest, AServiceIdBeyondAsciiReachesThePipeTheCallerBuilt) {
    CCallerPipe caller(L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + m_strMark + L"_服务Ä",
                       L"Global\\NamedEventzoltService_" + m_strMark + L"_服务Ä");
    const auto pInstance = WxMiniProgramServiceEx::Create("服务Ä", &m_host);
    pInstance->Init(kConfig, L"", m_strMark);
    EXPECT_TRUE(caller.WaitForClient()) << m_log.All();
    EXPECT_EQ(pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "hello"), 1);
    EXPECT_EQ(caller.Receive(), "hello");
    pInstance->Destroy();
}

TEST_F(ServiceInstanceTest, InitMakesTheTablesEntryAndTheRecordOfThreeTexts) {
    Init();
    ASSERT_TRUE(m_host.HasParam(m_strId));
    const InstanceParam param = m_host.Param(m_strId);
    EXPECT_EQ(param.strServiceId, m_strId);
    EXPECT_EQ(param.strPipeName, PipeName());
    EXPECT_EQ(param.nInterval, 0);
    EXPECT_TRUE(param.bDLLWndExist);
    EXPECT_FALSE(param.bIsDelayedDestroy);
    const WxMiniProgramService* pService = m_pInstance->GetService();
    EXPECT_EQ(pService, m_pInstance->GetService());
    EXPECT_EQ(pService->m_strConfig, kConfig);
    EXPECT_EQ(pService->m_strSdkPath, L"C:\\sdk");
    EXPECT_EQ(pService->m_strMark, m_strMark);
    EXPECT_EQ(MINI_API_CLIENT::CWxApi::GetInstance().Channel().m_nChannelId, 7U);
}

TEST_F(ServiceInstanceTest, StartsTheWatchOverTheCallersPipe) {
    Init();
    EXPECT_TRUE(WaitForLine("CheckzoltDLLThread begin")) << m_log.All();
}

TEST_F(ServiceInstanceTest, AFailedConnectIsNotTriedAgain) {
    Init();
    EXPECT_TRUE(m_log.Has("]OpenPipe 2")) << m_log.All();
    EXPECT_TRUE(m_log.Has("]pClientContext->GetPipe()")) << m_log.All();
    EXPECT_TRUE(m_log.Has("]Failed to connect to server!")) << m_log.All();

    CCallerPipe caller(PipeName(), EventName());
    Init();
    EXPECT_FALSE(caller.HasClient());
    EXPECT_EQ(m_log.Count("]Failed to connect to server!"), 1U) << m_log.All();
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), -1);
    EXPECT_TRUE(m_log.Has("service ipc not init")) << m_log.All();
    EXPECT_TRUE(m_log.Has("SendIPCMessage end")) << m_log.All();
}

TEST_F(ServiceInstanceTest, ABusyPipeIsAFailedConnect) {
    CCallerPipe caller(PipeName(), EventName());
    const CFileHandle hOther(
        CreateFileW(PipeName().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(hOther.valid());
    Init();
    EXPECT_TRUE(m_log.Has("]OpenPipe 231")) << m_log.All();
    EXPECT_TRUE(m_log.Has("]Failed to connect to server!")) << m_log.All();
}

TEST_F(ServiceInstanceTest, ASecondInitOnAConnectedInstanceDoesNothing) {
    Connect();
    m_pInstance->Init("other", L"D:\\", L"other");
    EXPECT_EQ(m_pInstance->GetService()->m_strConfig, kConfig);
    EXPECT_EQ(m_host.Param(m_strId).strPipeName, PipeName());
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), 1);
    EXPECT_EQ(m_pCaller->Receive(), "x");
}

TEST_F(ServiceInstanceTest, BeforeInitNothingIsSent) {
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), -1);
    EXPECT_TRUE(m_log.Has("service ipc not init")) << m_log.All();
}

TEST_F(ServiceInstanceTest, AWatchThatCannotStartLeavesTheRestRunning) {
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the type of the pointer has it so.
    g_pfnLaunchWatcher = [](std::function<unsigned()>, bool) { return CKernelHandle(); };
    Connect();
    g_pfnLaunchWatcher = &LaunchThread;
    EXPECT_TRUE(m_log.Has("]Failed to create thread for CheckzoltDLL")) << m_log.All();
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), 1);
    EXPECT_EQ(m_pCaller->Receive(), "x");
}

TEST_F(ServiceInstanceTest, ADelayedCheckThatCannotStartIsNotCounted) {
    Init();
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the type of the pointer has it so.
    g_pfnLaunchWatcher = [](std::function<unsigned()>, bool) { return CKernelHandle(); };
    SetDelay(5000);
    g_pfnLaunchWatcher = &LaunchThread;
    EXPECT_EQ(m_host.Param(m_strId).nDelayedTaskCount, 0);
}

TEST_F(ServiceInstanceTest, ALostPipeIsToldBySendingAlone) {
    Connect();
    m_pCaller->Close();
    ASSERT_TRUE(WaitForLine("]Disconnected from server!")) << m_log.All();
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), -1);
    EXPECT_TRUE(m_log.Has("InvokeFunc failed")) << m_log.All();
    EXPECT_FALSE(m_log.Has("service ipc not init")) << m_log.All();
}

TEST_F(ServiceInstanceTest, AnEmptyServiceIdGetsNoEntryAndNoWatch) {
    const auto pInstance = WxMiniProgramServiceEx::Create("", &m_host);
    pInstance->Init(kConfig, L"", m_strMark);
    EXPECT_TRUE(m_host.m_mInstanceParam.empty());
    EXPECT_TRUE(WaitForLine("Invalid service ID")) << m_log.All();
    pInstance->Destroy();
}

TEST_F(ServiceInstanceTest, ADelayedDestroyStoresTheIntervalAndMarksTheInstanceAfterIt) {
    Init();
    SetDelay(30);
    DelayedDestroy();
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 30);
    EXPECT_TRUE(Eventually([this] { return m_host.Param(m_strId).bIsDelayedDestroy; })) << m_log.All();
    EXPECT_TRUE(WaitForLine("DelayedDestroyThread end, strServiceId = 42")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DelayedDestroy begin")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DelayedDestroy end")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DelayedDestroy strServiceId = 42, nInterval = 30")) << m_log.All();
}

TEST_F(ServiceInstanceTest, ADelayedDestroyWaits2000MsUnlessADelayedCheckChangedIt) {
    Init();
    DelayedDestroy();
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 2000);
    EXPECT_FALSE(m_host.Param(m_strId).bIsDelayedDestroy);
}

TEST_F(ServiceInstanceTest, AnIntervalOfMinus1IsNotStoredSoThatTheTablesOwnCounts) {
    Init();
    SetDelay(-1);
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 0);
    DelayedDestroy();
    EXPECT_TRUE(WaitForLine("DelayedDestroy strServiceId = 42, nInterval = 0")) << m_log.All();
    EXPECT_TRUE(Eventually([this] { return m_host.Param(m_strId).bIsDelayedDestroy; })) << m_log.All();
}

TEST_F(ServiceInstanceTest, TwoDestroyRequestsRunTwoThreadsAndTheFirstToEndMarksTheInstance) {
    Init();
    SetDelay(1000000);
    DelayedDestroy();
    ASSERT_TRUE(WaitForLine("DelayedDestroy strServiceId = 42, nInterval = 1000000")) << m_log.All();
    SetDelay(20);
    DelayedDestroy();
    EXPECT_TRUE(Eventually([this] { return m_host.Param(m_strId).bIsDelayedDestroy; })) << m_log.All();
    EXPECT_TRUE(WaitForLine("DelayedDestroyThread end, strServiceId = 42")) << m_log.All();
    EXPECT_EQ(m_log.Count("DelayedDestroyThread begin"), 2U) << m_log.All();
    EXPECT_EQ(m_log.Count("DelayedDestroyThread end, strServiceId = 42"), 1U) << m_log.All();
    // The fixture sees that the first one, whose handle is gone, ends with the instance.
}

TEST_F(ServiceInstanceTest, AnExitRequestIsTheHostsBusiness) {
    std::string strSeen;
    m_host.m_onDestroyRequest = [&strSeen](const std::string& strBody) { strSeen = strBody; };
    m_pInstance->DestroyWxServiceItme(CRequestOf(9, "{\"service_id\":\"42\"}"));
    EXPECT_EQ(strSeen, "{\"service_id\":\"42\"}");
}

TEST_F(ServiceInstanceTest, DestroyEndsTheConnectionOnce) {
    Connect();
    m_pInstance->Destroy();
    EXPECT_EQ(m_pCaller->Receive(), std::nullopt);
    m_pInstance->Destroy();
    EXPECT_EQ(m_log.Count("]begin destruct strServiceId = 42 "), 1U) << m_log.All();
    EXPECT_EQ(m_pInstance->SendIPCMessage(Number(MessageType::S_MT_InitReply), "x"), -1);
    EXPECT_TRUE(m_log.Has("service ipc not init")) << m_log.All();
}

TEST_F(ServiceInstanceTest, LettingTheLastPointerGoDestroysToo) {
    Connect();
    m_pInstance.reset();
    EXPECT_EQ(m_pCaller->Receive(), std::nullopt);
    EXPECT_EQ(m_log.Count("]begin destruct strServiceId = 42 "), 1U) << m_log.All();
}

TEST_F(ServiceInstanceTest, ADestroyedInstanceDoesNotComeBack) {
    CCallerPipe caller(PipeName(), EventName());
    m_pInstance->Destroy();
    Init();
    EXPECT_FALSE(caller.HasClient());
    EXPECT_FALSE(m_host.HasParam(m_strId));
}

TEST_F(ServiceInstanceTest, AnyNumberOfInstancesLeavesNoHandle) {
    const auto makeAndDrop = [this](const std::string& strId, bool bServed) {
        std::unique_ptr<CCallerPipe> pCaller;
        if (bServed) {
            const std::wstring strSuffix = m_strMark + L"_" + Utf8ToUtf16(strId);
            pCaller = std::make_unique<CCallerPipe>(L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + strSuffix,
                                                    L"Global\\NamedEventzoltService_" + strSuffix);
        }
        const auto pInstance = WxMiniProgramServiceEx::Create(strId, &m_host);
        pInstance->Init(kConfig, L"", m_strMark);
        pInstance->DelayedDestroy();
        pInstance->DelayedDestroy();
        pInstance->Destroy();
    };
    const auto handles = [this] {
        EXPECT_TRUE(NoThreadLeft());
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    makeAndDrop("warm", true);
    makeAndDrop("warm up", false);
    const DWORD nBefore = handles();
    for (int i = 0; i < 20; ++i) {
        makeAndDrop("served" + std::to_string(i), true);
        makeAndDrop("alone" + std::to_string(i), false);
    }
    EXPECT_LE(handles(), nBefore);
}

}  // namespace
