#include "host/helper_host.h"

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/message_window.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"
#include "support/http/beacons.h"
#include "support/http/wininet_api.h"
#include "tests/unit/host/host_fixture.h"
#include "world/helper/pipe_peer.h"

namespace {

constexpr char kReadyNotice[] = R"({"content":{"p1":"1"},"message_type":12})";

class HelperHostTest : public CHostFixture {
  protected:
    // A value of /channel: or /param: as a command line has it.
    static std::wstring Base64(const std::string& text) {
        static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        std::wstring value;
        for (std::size_t i = 0; i < text.size(); i += 3) {
            std::uint32_t bits = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                bits = bits << 8 | (i + k < text.size() ? static_cast<unsigned char>(text[i + k]) : 0u);
            }
            for (std::size_t k = 0; k < 4; ++k) {
                value += i + k <= text.size() ? static_cast<wchar_t>(kAlphabet[bits >> (18 - 6 * k) & 63]) : L'=';
            }
        }
        return value;
    }

    // The place of a line in the log; the number of lines when it is not there.
    std::size_t LineOf(const std::string& part) const {
        const std::vector<std::string> lines = m_log.Lines();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (lines[i].find(part) != std::string::npos) {
                return i;
            }
        }
        return lines.size();
    }
};

TEST_F(HelperHostTest, ProcessHasOneHost) {
    EXPECT_EQ(CommzoltHelperS::GetInstance(), CommzoltHelperS::GetInstance());
    EXPECT_NE(CommzoltHelperS::GetInstance(), &m_host);
}

TEST_F(HelperHostTest, FirstInitTakesTheCommandLine) {
    m_host.Init(CommandLine() + L" /type:1 /channel:" +
                Base64(R"({"channel_id":"1","from":"f","mid":"machine-7","product":"p"})") + L" /param:" +
                Base64("anything"));
    EXPECT_TRUE(m_host.IsInited());
    EXPECT_EQ(m_host.Type(), 1);
    EXPECT_EQ(m_host.Mark(), m_mark);
    EXPECT_EQ(m_host.ServiceId(), "first");
    EXPECT_EQ(m_host.Channel(), R"({"channel_id":"1","from":"f","mid":"machine-7","product":"p"})");
    EXPECT_EQ(m_host.Param(), "anything");
    EXPECT_EQ(m_host.Mid(), L"machine-7");
    EXPECT_EQ(m_host.ExeWndTitle(), L"ProgramIPCMessageS_" + m_mark);
    EXPECT_TRUE(m_log.Has("For the first time!")) << m_log.All();
    EXPECT_TRUE(m_log.Has("type is MessageType::S_MT_InitWxApp")) << m_log.All();
}

TEST_F(HelperHostTest, SdkPathIsTwoStepsAboveTheProgramFile) {
    StartHost();
    wchar_t path[MAX_PATH] = {};
    ASSERT_NE(GetModuleFileNameW(nullptr, path, MAX_PATH), 0u);
    std::wstring expected = path;
    expected.resize(expected.rfind(L'\\'));
    expected.resize(expected.rfind(L'\\'));
    EXPECT_EQ(m_host.SdkPath(), expected);
}

TEST_F(HelperHostTest, ReadyNoticeReachesTheCallersPipe) {
    CCallerEnd caller(m_mark, "first");
    StartHost();
    const std::vector<std::string> frames = caller.WaitForFrames(1);
    ASSERT_EQ(frames.size(), 1u) << m_log.All();
    EXPECT_EQ(frames[0], kReadyNotice);
}

TEST_F(HelperHostTest, FirstInitStartsTheThreadsInOrder) {
    StartHost();
    const StartedThreads started = WaitForStartedThreads(1);
    EXPECT_EQ(started.nHangWatcher, 1);
    EXPECT_EQ(started.nMonCPUUsage, 1);
    EXPECT_EQ(started.nConfInfo, 1);
    EXPECT_LT(LineOf("InitHangWatcherThread begin"), LineOf("InitMonCPUUsageThread begin")) << m_log.All();
    EXPECT_LT(LineOf("InitMonCPUUsageThread end"), LineOf("InitConfInfoThread begin")) << m_log.All();
    EXPECT_LT(LineOf("InitConfInfoThread begin"), m_log.Lines().size());
    // Its own and that of the configuration's thread.
    EXPECT_EQ(m_log.Count("InitHangWatcherThread end"), 2u) << m_log.All();
}

// Once its instance is connected the caller may ask for something that sends a beacon, while the start is still under
// way. Holds in a process of its own, as ctest gives it: another test of this program has started the transfer worker.
TEST_F(HelperHostTest, ABeaconSentAsSoonAsTheInstanceIsConnectedIsFetched) {
    static const CKernelHandle fetched(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    static WinInetApi recording;
    recording.CrackUrl = [](LPCWSTR url, DWORD, DWORD, LPURL_COMPONENTSW) -> BOOL {
        if (std::wstring(url) == L"http://dot.nexlet.invalid/first") {
            SetEvent(fetched.get());
        }
        return FALSE;
    };
    OverrideWinInetApi(&recording);
    CCallerEnd caller(m_mark, "first");
    // The first line that is written after the instance was made.
    SetLogObserver([](const wchar_t* line) {
        if (std::wstring(line).find(L"enter m_sdkPath=") != std::wstring::npos) {
            ReportDot(L"http://dot.nexlet.invalid/first");
        }
    });
    StartHost();
    EXPECT_EQ(WaitForSingleObject(fetched.get(), 20000), WAIT_OBJECT_0);
}

TEST_F(HelperHostTest, FirstInitAnnouncesTheListeningPipe) {
    StartHost();
    EXPECT_TRUE(m_host.IsIpcStarted());
    const CKernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, kReadyEventName));
    ASSERT_TRUE(event.valid());
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), WAIT_OBJECT_0);
    CPipePeer second;
    EXPECT_TRUE(second.Open(HostPipeName(m_mark))) << second.LastError();
    const CKernelHandle gate(OpenEventW(EVENT_ALL_ACCESS, FALSE, HostEventName(m_mark).c_str()));
    ASSERT_TRUE(gate.valid());
    EXPECT_EQ(WaitForSingleObject(gate.get(), 0), WAIT_OBJECT_0);
}

TEST_F(HelperHostTest, ForwardedStartIsAcknowledgedWithOneByte) {
    CCallerEnd caller(m_mark, "second");
    StartHost();
    CPipePeer second;
    ASSERT_TRUE(second.Open(HostPipeName(m_mark)));
    const std::string forwarded =
        R"({"content":"/from:)" + Utf16ToUtf8(m_mark) + R"( /service_id:second","message_type":1})";
    ASSERT_TRUE(second.Write(BuildFrame(forwarded)));
    EXPECT_EQ(second.ReadFrame(), "1") << m_log.All();
    // The new service's caller is told that it is served.
    const std::vector<std::string> frames = caller.WaitForFrames(1);
    ASSERT_EQ(frames.size(), 1u) << m_log.All();
    EXPECT_EQ(frames[0], kReadyNotice);
    EXPECT_EQ(m_host.ServiceId(), "second");
    EXPECT_EQ(m_host.InstanceCount(), 2u);
    EXPECT_TRUE(m_log.Has("Not the first time")) << m_log.All();
    EXPECT_EQ(WaitForStartedThreads(1).nHangWatcher, 1) << "a forwarded start starts no threads";
}

TEST_F(HelperHostTest, ForwardedStartKeepsWindowAndPipe) {
    StartHost();
    const HWND window = g_hMsgWnd.load();
    m_host.Init(CommandLine());
    EXPECT_EQ(g_hMsgWnd.load(), window);
    EXPECT_EQ(m_log.Count("InitZOLTSIPC begin"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("create timer"), 1u) << m_log.All();
}

TEST_F(HelperHostTest, StartWithoutServiceIdMakesAnUninitialisedInstance) {
    m_host.Init(L"/from:" + m_mark);
    EXPECT_FALSE(m_host.IsInited());
    EXPECT_EQ(m_host.InstanceCount(), 1u);
    EXPECT_NE(m_host.FindInstance(""), nullptr);
    InstanceParam param;
    EXPECT_FALSE(m_host.GetInstanceParam("", param));
    EXPECT_TRUE(m_log.Has("service ipc not init")) << m_log.All();
}

TEST_F(HelperHostTest, StartWithoutMarkOrServiceIdHasNoWindowAndStartsTheThreadsEachTime) {
    const std::wstring commandLines[] = {L"/from:" + m_mark, L"/service_id:first", L""};
    int starts = 0;
    for (const std::wstring& commandLine : commandLines) {
        m_host.Init(commandLine);
        ++starts;
        EXPECT_FALSE(m_host.IsInited()) << starts;
        EXPECT_EQ(g_hMsgWnd.load(), nullptr) << starts;
        EXPECT_FALSE(m_host.IsIpcStarted()) << starts;
        const StartedThreads started = WaitForStartedThreads(starts);
        EXPECT_EQ(started.nHangWatcher, starts);
        EXPECT_EQ(started.nMonCPUUsage, starts);
        EXPECT_EQ(started.nConfInfo, starts);
    }
    EXPECT_EQ(m_log.Count("For the first time!"), 3u) << m_log.All();
}

TEST_F(HelperHostTest, ServiceIdStaysWhenALaterCommandLineHasNone) {
    StartHost();
    m_host.Init(L"/from:" + m_mark + L" /type:1");
    EXPECT_EQ(m_host.ServiceId(), "first");
    EXPECT_EQ(m_host.Type(), 1);
}

TEST_F(HelperHostTest, StartDispatchesTheRequestInItsParam) {
    m_host.Init(CommandLine() + L" /type:7 /param:" +
                Base64(R"({"content":{"service_id":"asked","p1":"{}"},"message_type":7})"));
    EXPECT_TRUE(m_log.Has("receive MessageType::S_MT_OpenMiniAppSuccessfully")) << m_log.All();
    EXPECT_NE(m_host.FindInstance("asked"), nullptr);
}

TEST_F(HelperHostTest, StartWithRequestTypeAndNoParamOnlyLogs) {
    m_host.Init(CommandLine() + L" /type:6");
    EXPECT_TRUE(m_log.Has("nlength is 0")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DealWithMsg end")) << m_log.All();
    EXPECT_TRUE(m_host.IsInited());
}

TEST_F(HelperHostTest, StartWithType9DestroysNothingButTheEnvelopeDoes) {
    const std::string exit = R"({"content":{"service_id":"first"},"message_type":9})";
    m_host.Init(CommandLine() + L" /type:9 /param:" + Base64(exit));
    EXPECT_FALSE(m_log.Has("DestroyWxServiceItme begin")) << m_log.All();
    EXPECT_EQ(Receive(exit), 1);
    EXPECT_TRUE(m_log.Has("DelayedDestroy begin")) << m_log.All();
    EXPECT_TRUE(m_log.Has("DestroyWxServiceItme end")) << m_log.All();
}

using HelperHostDeathTest = HelperHostTest;

TEST_F(HelperHostDeathTest, TypeThatIsNotANumberEndsTheProcess) {
    const std::wstring commandLine = CommandLine() + L" /type:abc";
    EXPECT_EXIT([&]() noexcept { m_host.Init(commandLine); }(), testing::ExitedWithCode(3), "");
}

TEST_F(HelperHostDeathTest, ForwardedTypeThatIsNotANumberEndsTheProcess) {
    StartHost();
    EXPECT_EXIT([&]() noexcept { Receive(R"({"content":"/type:99999999999","message_type":1})"); }(),
                testing::ExitedWithCode(3), "");
}

TEST_F(HelperHostTest, MidOfAChannelThatHasNoneStays) {
    m_host.Init(CommandLine() + L" /channel:" + Base64(R"({"channel_id":"1","mid":"m1"})"));
    m_host.Init(CommandLine() + L" /channel:" + Base64(R"({"channel_id":"1","mid":5})"));
    EXPECT_TRUE(m_log.Has("Root not mid ")) << m_log.All();
    m_host.Init(CommandLine() + L" /channel:" + Base64("[]"));
    EXPECT_TRUE(m_log.Has("Root type is error")) << m_log.All();
    m_host.Init(CommandLine());
    EXPECT_TRUE(m_log.Has("Parse error")) << m_log.All();
    EXPECT_EQ(m_host.Mid(), L"m1");
    EXPECT_EQ(m_host.Channel(), "");
}

TEST_F(HelperHostTest, EachSwitchLogsItsRawValue) {
    m_host.Init(CommandLine() + L" /channel:!! /type:1 /param:??");
    const std::string mark = Utf16ToUtf8(m_mark);
    for (const std::string& line :
         {"enter mark=" + mark, std::string("enter channelBuffer=!!"), std::string("enter typeBuffer=1"),
          std::string("enter paramBuffer=??"), std::string("enter szServiceId=first"),
          "enter InitMsgWnd m_strServiceId=first , m_exeWndTitle=ProgramIPCMessageS_" + mark,
          std::string("m_strServiceId = first")}) {
        EXPECT_TRUE(m_log.Has(line)) << line << "\n" << m_log.All();
    }
}

}  // namespace
