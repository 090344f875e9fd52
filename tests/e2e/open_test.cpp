// Opening a mini-program through the real helper, with every mood of the SDK.
#include <thread>

#include "foundation/json_text.h"
#include "tests/e2e/end_to_end.h"

namespace {

class OpenMiniApp : public CEndToEnd {
  protected:
    void Start(const std::wstring& variant) {
        m_sandbox.LayOcean(variant);
        ASSERT_TRUE(m_sandbox.Ready());
        StartHelper();
    }
};

TEST_F(OpenMiniApp, WholeExchangeFromReadyNoticeToExit) {
    ASSERT_NO_FATAL_FAILURE(Start(L"good"));

    Json::Value content(Json::objectValue);
    content["service_id"] = m_strService;
    content["p1"] = JsonOf(MiniAppOpen("task-1"));
    content["mine"] = "echoed";
    const Json::Value reply =
        Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, content, MessageType::S_MT_OpenMiniAppReply);
    EXPECT_EQ(reply["result"].asString(), "1");
    EXPECT_EQ(reply["ret"].asString(), "0") << "an open never says yes under ret";
    EXPECT_EQ(reply["p1"], content["p1"]);
    EXPECT_EQ(reply["mine"].asString(), "echoed");
    EXPECT_EQ(reply["service_id"].asString(), m_strService);

    EXPECT_EQ(PollUntilSettled(MiniAppPoll("task-1")), "1");
    EXPECT_EQ(Poll(MiniAppPoll("task-1")), "0") << "a settled answer is given once";

    const ULONGLONG askedAt = GetTickCount64();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(kLongMs), 0u);
    EXPECT_GE(GetTickCount64() - askedAt, 2000u) << "the leaving caller has its time of grace";
    EXPECT_EQ(m_caller->WaitForLoss(kLongMs), CallerResult::Ok);

    const std::string calls = m_sandbox.OceanCalls();
    EXPECT_NE(calls.find("init official"), std::string::npos) << calls;
    EXPECT_NE(calls.find("open appId=wx1 appPath=pages/index id=1"), std::string::npos) << calls;
    EXPECT_NE(calls.find("uninit"), std::string::npos) << "the SDK is let go at the end\n" << calls;

    const CHelperLog log = Log();
    EXPECT_TRUE(log.Has("enter mark=" + std::string(m_strMark.begin(), m_strMark.end())));
    EXPECT_TRUE(log.Has("start init"));
    EXPECT_TRUE(log.Has("receive WM_COPY_DATA_MSG_IPC_GET_OPEN"));
    EXPECT_TRUE(log.Has("receive MessageType::S_MT_ExitExeProcess"));
    EXPECT_TRUE(log.Has("DelayedDestroy strServiceId = svc, nInterval = 2000"));
    EXPECT_TRUE(log.Has("erase it ,is service id svc, nDelayedTaskCount = 0, bDLLWndExist = 1, bIsDelayedDestroy = 1"));
    EXPECT_TRUE(log.Has("]begin destruct strServiceId = svc "));
    EXPECT_TRUE(log.Has("ovrinse Check procee exit begin"));
    EXPECT_FALSE(log.Has("process exit!")) << "that line comes after the end of the process";
}

TEST_F(OpenMiniApp, PollOfPlainAndBrokenTextsTellsTheFixedWords) {
    ASSERT_NO_FATAL_FAILURE(Start(L"good"));
    EXPECT_EQ(Poll("no json"), "ParseAppOpenInfo error");
    EXPECT_EQ(Poll("[]"), "ParseAppOpenInfo error");
    EXPECT_EQ(Poll(R"({"type":"miniApp"})"), "not from");
    EXPECT_EQ(Poll(R"({"from":"x"})"), "not type");
    EXPECT_EQ(Poll(R"({"from":"x","type":"miniApp"})"), "OpenProtocolTimeOut type miniApp lack param");
    EXPECT_EQ(Poll(MiniAppPoll("never opened")), "0");
}

TEST_F(OpenMiniApp, OpenOfAnUnusableRequestTellsTheFixedWords) {
    ASSERT_NO_FATAL_FAILURE(Start(L"good"));
    EXPECT_EQ(Open("null"), "ParseAppOpenInfo error");
    EXPECT_EQ(Open(R"({"type":"miniApp","appId":"a","taskId":"t"})"), "not from");
    EXPECT_EQ(Open(R"({"from":"x"})"), "not type");
    EXPECT_EQ(Open(R"({"from":"x","type":"WeChat"})"), "not type") << "case matters";
    EXPECT_EQ(Open(R"({"from":"x","type":"weChat"})"), "OpenWithWeChat lack param");
    EXPECT_EQ(Open(R"({"from":"x","type":"miniApp","appId":"a"})"), "OpenWithWxSDK lack param");
    EXPECT_EQ(Open(R"({"from":"x","type":"yyb"})"), "OpenWidthYybSDK lack param");
    EXPECT_EQ(m_sandbox.OceanCalls(), "") << "no SDK is touched for any of them";
}

TEST_F(OpenMiniApp, RefusingSdkAnswersZeroAndTheTaskStaysLoading) {
    ASSERT_NO_FATAL_FAILURE(Start(L"refusing"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "0");
    EXPECT_EQ(Poll(MiniAppPoll("t")), "Loading");
}

TEST_F(OpenMiniApp, FailingSdkSettlesToZero) {
    ASSERT_NO_FATAL_FAILURE(Start(L"failing"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(PollUntilSettled(MiniAppPoll("t")), "0");
}

TEST_F(OpenMiniApp, LateAnswerIsLoadingUntilItComes) {
    ASSERT_NO_FATAL_FAILURE(Start(L"late"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(Poll(MiniAppPoll("t")), "Loading");
    EXPECT_EQ(PollUntilSettled(MiniAppPoll("t")), "1");
}

TEST_F(OpenMiniApp, AnswerForAnIdThatWasNeverGivenChangesNothing) {
    ASSERT_NO_FATAL_FAILURE(Start(L"unknown_id"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    const ULONGLONG startedAt = GetTickCount64();
    while (m_sandbox.OceanCalls().find("answered") == std::string::npos && GetTickCount64() - startedAt < kLongMs) {
        Sleep(10);
    }
    EXPECT_NE(m_sandbox.OceanCalls().find("answered"), std::string::npos) << m_sandbox.OceanCalls();
    EXPECT_EQ(Poll(MiniAppPoll("t")), "Loading");
}

TEST_F(OpenMiniApp, SdkThatAnswersInsideTheCallDoesNotHangTheHelper) {
    ASSERT_NO_FATAL_FAILURE(Start(L"inside_thread"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    ExpectServed();
}

TEST_F(OpenMiniApp, SdkWithAMissingExportIsNotAnSdk) {
    ASSERT_NO_FATAL_FAILURE(Start(L"missing_export"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "InitWxApi error");
    EXPECT_EQ(m_sandbox.OceanCalls(), "");
    ExpectServed();
}

TEST_F(OpenMiniApp, FileThatIsNotALibraryIsNotAnSdk) {
    ASSERT_NO_FATAL_FAILURE(Start(L"broken"));
    EXPECT_EQ(Open(MiniAppOpen("t")), "InitWxApi error");
    EXPECT_NE(Log().Find("load status="), "");
    ExpectServed();
}

TEST_F(OpenMiniApp, MissingSdkIsLookedForAgainAtTheNextOpen) {
    StartHelper();
    EXPECT_EQ(Open(MiniAppOpen("t")), "InitWxApi error");
    EXPECT_TRUE(Log().Has("wx sdk Is not ok"));
    m_sandbox.LayOcean(L"good");
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(PollUntilSettled(MiniAppPoll("t")), "1");
}

class OpenOnMlHost : public CEndToEnd {
  protected:
    OpenOnMlHost() : CEndToEnd(L"xml") {}
};

TEST_F(OpenOnMlHost, SdkIsInTheSdkPathItself) {
    m_sandbox.LayOcean(L"good", /*mlHost=*/true);
    ASSERT_TRUE(m_sandbox.Ready());
    StartHelper();
    EXPECT_EQ(Open(MiniAppOpen("t")), "1");
    EXPECT_EQ(PollUntilSettled(MiniAppPoll("t")), "1");
}

}  // namespace
