// What the host does with one message.
#include "host/helper_host.h"
#include "host/message_window.h"
#include "tests/unit/host/host_fixture.h"

namespace {

class RequestsTest : public CHostFixture {
  protected:
    RequestsTest() {
        StartHost();
        m_instances = m_host.InstanceCount();
        m_parseErrors = m_log.Count("parse error");
    }

    // How many bodies were refused as no object since the start, which has such lines of its own.
    std::size_t ParseErrors() const { return m_log.Count("parse error") - m_parseErrors; }

    // A message that must be refused with this line, give 0 and make nothing.
    void ExpectRefused(const std::string& message, const std::string& line) {
        const std::size_t before = m_log.Count(line);
        EXPECT_EQ(Receive(message), 0) << message;
        EXPECT_EQ(m_log.Count(line), before + 1) << message << "\n" << m_log.All();
        EXPECT_EQ(m_host.InstanceCount(), m_instances) << message;
    }

    std::size_t m_instances = 0;
    std::size_t m_parseErrors = 0;
};

TEST_F(RequestsTest, EmptyStatusBodyMakesNoInstanceAndReArmsTheTimer) {
    const std::size_t lines = m_log.Lines().size();
    EXPECT_EQ(Receive(R"({"content":{},"message_type":2})"), 1);
    EXPECT_EQ(m_host.InstanceCount(), m_instances);
    EXPECT_TRUE(m_log.Has("receive MessageType::S_MT_GetWxAppStatus")) << m_log.All();
    EXPECT_TRUE(m_log.Has("enter GetWxAppStatus param={}")) << m_log.All();
    EXPECT_EQ(ParseErrors(), 0u) << m_log.All();
    EXPECT_TRUE(m_log.Has("Automatic recording zolt status timer begin")) << m_log.All();
    EXPECT_NE(g_nExitTimerId.load(), 0u);
    EXPECT_NE(g_nStatusTimerId.load(), 0u);
    EXPECT_GT(m_log.Lines().size(), lines);
}

TEST_F(RequestsTest, StatusTimerIsStartedOnce) {
    Receive(R"({"content":{},"message_type":2})");
    Receive(R"({"content":{},"message_type":3})");
    EXPECT_EQ(m_log.Count("Automatic recording zolt status timer begin"), 1u) << m_log.All();
    EXPECT_TRUE(KillTimer(g_hMsgWnd.load(), TIMER_ID_UPDATE_STATUS));
}

TEST_F(RequestsTest, OtherRequestsStartNoStatusTimer) {
    for (const int type : {4, 5, 6, 7, 8, 9}) {
        EXPECT_EQ(Receive(R"({"content":{},"message_type":)" + std::to_string(type) + "}"), 1) << type;
    }
    EXPECT_EQ(g_nStatusTimerId.load(), 0u);
}

TEST_F(RequestsTest, ExitTimerThatIsGoneIsNotReArmed) {
    const HWND window = g_hMsgWnd.load();
    ASSERT_TRUE(KillTimer(window, g_nExitTimerId.load()));
    Receive(R"({"content":{},"message_type":6})");
    EXPECT_FALSE(KillTimer(window, TIMER_ID_CHECK_TIMEOUT));
}

TEST_F(RequestsTest, ReArmedExitTimerIsArmed) {
    for (const int type : {2, 3, 6, 7}) {
        Receive(R"({"content":{},"message_type":)" + std::to_string(type) + "}");
        ASSERT_NE(g_nExitTimerId.load(), 0u) << type;
    }
    EXPECT_TRUE(KillTimer(g_hMsgWnd.load(), TIMER_ID_CHECK_TIMEOUT));
}

TEST_F(RequestsTest, MessageTypeMustBeAnInteger) {
    for (const char* message :
         {R"({"content":{},"message_type":"2"})", R"({"content":{},"message_type":2.0})", R"({"content":{}})",
          R"({"content":{},"message_type":true})", R"({"content":{},"message_type":null})", "{}",
          R"({"content":{},"message_type":-3000000000})", R"({"content":{},"message_type":3000000000})"}) {
        ExpectRefused(message, "jvRoot not message_type");
    }
}

TEST_F(RequestsTest, ContentMustBeAnObjectOrNull) {
    for (const char* message : {R"({"content":"{}","message_type":2})", R"({"message_type":2})",
                                R"({"content":[],"message_type":2})", R"({"content":5,"message_type":99})"}) {
        ExpectRefused(message, "jvRoot not content");
    }
}

TEST_F(RequestsTest, TextThatIsNotAnObjectIsRefused) {
    ExpectRefused("{", "parse error");
    ExpectRefused("[]", "jvRoot is error");
    ExpectRefused("null", "jvRoot is error");
    ExpectRefused("7", "jvRoot is error");
}

TEST_F(RequestsTest, EmptyMessageIsRefused) {
    EXPECT_EQ(m_host.ReceiveIPCMessage(reinterpret_cast<const unsigned char*>(""), 0), 0);
    EXPECT_EQ(m_host.ReceiveIPCMessage(reinterpret_cast<const unsigned char*>(""), -1), 0);
    EXPECT_EQ(m_log.Count("nlength is 0"), 2u) << m_log.All();
}

TEST_F(RequestsTest, UnknownTypeIsAnExtension) {
    for (const int type : {0, -1, 10, 11, 12, 17, 18, 2147483647}) {
        ExpectRefused(R"({"content":null,"message_type":)" + std::to_string(type) + "}", "receive extension msg");
    }
}

TEST_F(RequestsTest, NullContentIsRefusedByTheHandler) {
    EXPECT_EQ(Receive(R"({"content":null,"message_type":2})"), 1);
    EXPECT_TRUE(m_log.Has("enter GetWxAppStatus param=null")) << m_log.All();
    EXPECT_EQ(ParseErrors(), 1u) << m_log.All();
    EXPECT_EQ(m_host.InstanceCount(), m_instances);
}

TEST_F(RequestsTest, InitWithoutContentEmptiesWhatTheCommandLineSaid) {
    m_host.Init(CommandLine() + L" /type:1 /param:eHh4 /channel:eHh4");
    ASSERT_EQ(m_host.Param(), "xxx");
    EXPECT_EQ(Receive(R"({"message_type":1})"), 1);
    EXPECT_EQ(m_host.Mark(), L"");
    EXPECT_EQ(m_host.Channel(), "");
    EXPECT_EQ(m_host.Param(), "");
    EXPECT_EQ(m_host.Type(), 0);
    EXPECT_EQ(m_host.ServiceId(), "first");
    EXPECT_TRUE(m_host.IsInited());
}

TEST_F(RequestsTest, MessageIsCutAtItsFirstNul) {
    // A reader that went by the length would find a whole message.
    const std::string before = R"({"content":{"tag":"a)";
    const std::size_t errors = ParseErrors();
    EXPECT_EQ(Receive(before + '\0' + R"(b"},"message_type":4})"), 0);
    EXPECT_EQ(ParseErrors(), errors + 1) << m_log.All();
    EXPECT_NE(m_log.Find("ReceiveIPCMessage szMessage=" + before), "") << m_log.All();
    EXPECT_EQ(Receive(std::string(R"({"content":{},"message_type":4})") + '\0' + "{{{"), 1);
    EXPECT_TRUE(m_log.Has(R"(ReceiveIPCMessage szMessage={"content":{},"message_type":4})")) << m_log.All();
}

TEST_F(RequestsTest, EachTypeLogsItsArrival) {
    const std::pair<int, const char*> arrivals[] = {
        {2, "receive MessageType::S_MT_GetWxAppStatus"},      {3, "receive  MessageType::S_MT_GetWxAppStatusEncrypt"},
        {4, "receive MessageType::S_MT_GetWxAppQIMEI"},       {5, "receive MessageType::S_MT_GetRSAEncrypt"},
        {6, "receive WM_COPY_DATA_MSG_IPC_GET_OPEN"},         {7, "receive MessageType::S_MT_OpenMiniAppSuccessfully"},
        {8, "receive MessageType::S_MT_DelayCheckWndStatus"}, {9, "receive MessageType::S_MT_ExitExeProcess"},
    };
    for (const auto& [type, line] : arrivals) {
        EXPECT_EQ(Receive(R"({"content":{},"message_type":)" + std::to_string(type) + "}"), 1) << type;
        EXPECT_EQ(m_log.Count(line), 1u) << m_log.All();
    }
    for (const char* line :
         {"enter GetWxAppStatus param={}", "enter GetWxAppStatusEncrypt param={}", "enter GetWxAppQIMEI param={}",
          "enter GetRSAEncrypt param={}", "enter OpenMiniApp param={}", "enter OpenMiniAppSuccessfully param={}",
          "enter DelayCheckWndStatus param={}", "DestroyWxServiceItme begin"}) {
        EXPECT_TRUE(m_log.Has(line)) << line << "\n" << m_log.All();
    }
}

TEST_F(RequestsTest, DelayCheckWithoutP1IsRefusedBeforeItsServiceIdIsRead) {
    EXPECT_EQ(Receive(R"({"content":{"service_id":"new"},"message_type":8})"), 1);
    EXPECT_TRUE(m_log.Has("not contain p1")) << m_log.All();
    EXPECT_EQ(m_host.InstanceCount(), m_instances);
}

TEST_F(RequestsTest, NewServiceIdMakesAnInstanceThatAnswersOnItsOwnPipe) {
    CCallerEnd caller(m_mark, "new");
    EXPECT_EQ(Receive(R"({"content":{"service_id":"new","p1":"{}","echo":5},"message_type":7})"), 1);
    ASSERT_NE(m_host.FindInstance("new"), nullptr);
    InstanceParam param;
    EXPECT_TRUE(m_host.GetInstanceParam("new", param));
    const std::vector<std::string> frames = caller.WaitForFrames(1);
    ASSERT_EQ(frames.size(), 1u) << m_log.All();
    EXPECT_NE(frames[0].find(R"("echo":5)"), std::string::npos) << frames[0];
    EXPECT_NE(frames[0].find(R"("message_type":13)"), std::string::npos) << frames[0];
}

TEST_F(RequestsTest, SecondRequestFindsTheSameInstance) {
    const std::string request = R"({"content":{"service_id":"new","p1":"{}"},"message_type":7})";
    Receive(request);
    const auto instance = m_host.FindInstance("new");
    Receive(request);
    EXPECT_EQ(m_host.FindInstance("new"), instance);
    EXPECT_EQ(m_host.InstanceCount(), m_instances + 1);
}

TEST_F(RequestsTest, ServiceIdThatIsNotATextEndsSilently) {
    const std::size_t instances = m_host.InstanceCount();
    EXPECT_EQ(Receive(R"({"content":{"service_id":7,"p1":"{}"},"message_type":7})"), 1);
    EXPECT_EQ(m_host.InstanceCount(), instances);
    EXPECT_EQ(ParseErrors(), 0u) << m_log.All();
}

TEST_F(RequestsTest, ExitOfAnUnknownServiceEndsWithoutAnEndLine) {
    EXPECT_EQ(Receive(R"({"content":{"service_id":"nobody"},"message_type":9})"), 1);
    EXPECT_EQ(Receive(R"({"content":{},"message_type":9})"), 1);
    EXPECT_EQ(m_log.Count("DestroyWxServiceItme begin"), 2u) << m_log.All();
    EXPECT_FALSE(m_log.Has("DestroyWxServiceItme end")) << m_log.All();
}

TEST_F(RequestsTest, ExitWithABodyThatIsNotAnObjectIsAParseError) {
    EXPECT_EQ(Receive(R"({"content":null,"message_type":9})"), 1);
    EXPECT_EQ(ParseErrors(), 1u) << m_log.All();
}

TEST_F(RequestsTest, ExitMarksTheInstanceAfterItsDelay) {
    EXPECT_EQ(Receive(R"({"content":{"service_id":"first"},"message_type":9})"), 1);
    InstanceParam param;
    ASSERT_TRUE(m_host.GetInstanceParam("first", param));
    EXPECT_EQ(param.nInterval, 2000);
    const ULONGLONG deadline = GetTickCount64() + 30000;
    while (!param.bIsDelayedDestroy && GetTickCount64() < deadline) {
        Sleep(10);
        ASSERT_TRUE(m_host.GetInstanceParam("first", param));
    }
    EXPECT_TRUE(param.bIsDelayedDestroy) << m_log.All();
}

}  // namespace
