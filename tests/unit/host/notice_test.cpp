// How the host finishes an open, with a real monitor window.
#include <condition_variable>
#include <mutex>
#include <thread>

#include "host/helper_host.h"
#include "host/window_calls.h"
#include "tests/support/unique_name.h"
#include "tests/unit/host/host_fixture.h"

namespace {

constexpr wchar_t kMonitorClass[] = L"QOvrinSafeMonClass";
constexpr char kShown[] =
    R"({"isWxPopShow":1,"wxPopData":{"name":"Jump","icon":"i","appid":"wx1","impressionid":"m","style_id":-3,)"
    R"("ext_data":{"k":1}}})";

// A monitor program's window on a thread of its own. A hung one takes no messages.
class CMonitorWindow {
  public:
    enum class Mood { Answers, Hangs };

    explicit CMonitorWindow(Mood mood) : m_mood(mood) {
        m_hReady.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        m_hStop.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        m_thread = std::thread([this] { Run(); });
        WaitForSingleObject(m_hReady.get(), INFINITE);
    }
    ~CMonitorWindow() {
        SetEvent(m_hStop.get());
        m_thread.join();
    }

    // What came in WM_COPYDATA; read after the sender has returned.
    std::string m_strNotice;
    ULONG_PTR m_nKind = 0;
    int m_nCount = 0;

  private:
    void Run() {
        WNDCLASSEXW record = {};
        record.cbSize = sizeof(record);
        record.lpfnWndProc = &Procedure;
        record.lpszClassName = kMonitorClass;
        RegisterClassExW(&record);
        const HWND window =
            CreateWindowExW(0, kMonitorClass, L"monitor", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        SetEvent(m_hReady.get());
        const HANDLE stop = m_hStop.get();
        while (m_mood == Mood::Hangs ||
               MsgWaitForMultipleObjects(1, &stop, FALSE, INFINITE, QS_ALLINPUT) != WAIT_OBJECT_0) {
            if (m_mood == Mood::Hangs) {
                WaitForSingleObject(stop, INFINITE);
                break;
            }
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                DispatchMessageW(&message);
            }
        }
        DestroyWindow(window);
        UnregisterClassW(kMonitorClass, nullptr);
    }

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        auto* self = reinterpret_cast<CMonitorWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (message == WM_COPYDATA && self != nullptr) {
            const auto* record = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
            self->m_strNotice.assign(static_cast<const char*>(record->lpData), record->cbData);
            self->m_nKind = record->dwData;
            ++self->m_nCount;
            return 0;  // the answer does not count
        }
        return DefWindowProcW(window, message, wParam, lParam);
    }

    const Mood m_mood;
    CKernelHandle m_hReady;
    CKernelHandle m_hStop;
    std::thread m_thread;
};

class NoticeTest : public CHostFixture {
  protected:
    // The mark alone: neither a window nor a pipe is needed.
    void StartWithMark(const std::wstring& mark) { m_host.Init(L"/from:" + mark); }

    bool Notify(const std::string& result, const std::string& text) {
        m_referer = "unset";
        return m_host.NotifyWDMonitorMsg(result, text, m_referer);
    }

    std::string m_referer;
};

TEST_F(NoticeTest, MonitorGetsTheNotice) {
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    EXPECT_TRUE(Notify("1", kShown)) << m_log.All();
    EXPECT_EQ(m_referer, "wx1%5FJump");
    EXPECT_EQ(monitor.m_nCount, 1);
    EXPECT_EQ(monitor.m_nKind, 0x4D47534Du);
    ASSERT_GT(monitor.m_strNotice.size(), 12u);
    EXPECT_EQ(monitor.m_strNotice.substr(0, 8), std::string("BVRS\x01\x00\x08\x00", 8));
    EXPECT_EQ(monitor.m_strNotice.substr(monitor.m_strNotice.size() - 4), "\x7D\x92\x5F\x3E");
    EXPECT_NE(monitor.m_strNotice.find(std::string("\x02\x00st\x65\x00\x02\x00-3", 10)), std::string::npos);
    EXPECT_TRUE(m_log.Has("send WD MSG ret=1")) << m_log.All();
}

TEST_F(NoticeTest, OtherMarksNeverReachTheMonitor) {
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    for (const wchar_t* mark : {L"mlx", L"ML", L"abc"}) {
        StartWithMark(mark);
        EXPECT_FALSE(Notify("1", kShown)) << m_log.All();
    }
    EXPECT_EQ(monitor.m_nCount, 0);
    EXPECT_TRUE(m_log.Has("strResult is not 1, strResult=1, m_mark=mlx")) << m_log.All();
    EXPECT_EQ(m_log.Find("Report:"), "") << m_log.All();
}

TEST_F(NoticeTest, ResultIsComparedAsAWhole) {
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    for (const char* result : {"10", "", "0", " 1", "Loading"}) {
        EXPECT_FALSE(Notify(result, kShown)) << result;
    }
    EXPECT_EQ(monitor.m_nCount, 0);
    EXPECT_TRUE(m_log.Has("strResult is not 1, strResult=10, m_mark=ml")) << m_log.All();
}

TEST_F(NoticeTest, PopUpThatIsNotShownIsRefusedWithItsLine) {
    StartWithMark(L"ml");
    EXPECT_FALSE(Notify("1", "{}"));
    EXPECT_TRUE(m_log.Has("isWxPopShow is not 1")) << m_log.All();
    EXPECT_TRUE(m_log.Has("send WD MSG ret=0")) << m_log.All();
    EXPECT_EQ(m_referer, "unset");
}

TEST_F(NoticeTest, BadTextGivesFalse) {
    StartWithMark(L"ml");
    EXPECT_FALSE(Notify("1", "[]"));
    EXPECT_FALSE(Notify("1", "{"));
    EXPECT_EQ(m_log.Count("send WD MSG ret=0"), 2u) << m_log.All();
    EXPECT_FALSE(m_log.Has("isWxPopShow is not 1")) << m_log.All();
}

TEST_F(NoticeTest, WithoutAMonitorTheNoticeFails) {
    StartWithMark(L"ml");
    EXPECT_FALSE(Notify("1", kShown));
    EXPECT_TRUE(m_log.Has("send WD MSG failed")) << m_log.All();
    EXPECT_TRUE(m_log.Has("send WD MSG ret=0")) << m_log.All();
}

TEST_F(NoticeTest, BusyMonitorFailsAfterItsTime) {
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Hangs);
    EXPECT_FALSE(Notify("1", kShown));
    EXPECT_TRUE(m_log.Has("send WD MSG failed")) << m_log.All();
}

std::vector<UINT> g_vecTimeouts;

TEST_F(NoticeTest, MonitorHasASecondToTakeTheNotice) {
    static const WindowCalls recording = {
        &SetTimer, &KillTimer,
        [](HWND, UINT message, WPARAM wParam, LPARAM, UINT flags, UINT timeoutMs, PDWORD_PTR) -> LRESULT {
            EXPECT_EQ(message, static_cast<UINT>(WM_COPYDATA));
            EXPECT_EQ(wParam, 0u);
            EXPECT_EQ(flags, static_cast<UINT>(SMTO_NORMAL));
            g_vecTimeouts.push_back(timeoutMs);
            return 1;
        }};
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    g_vecTimeouts.clear();
    OverrideWindowCalls(&recording);
    EXPECT_TRUE(Notify("1", kShown)) << m_log.All();
    OverrideWindowCalls(nullptr);
    EXPECT_EQ(g_vecTimeouts, std::vector<UINT>{1000});
}

TEST_F(NoticeTest, NoticeThatDoesNotFitItsFieldsIsNotSent) {
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    EXPECT_FALSE(Notify("1", R"({"isWxPopShow":1,"wxPopData":{"name":")" + std::string(70000, 'x') + R"("}})"));
    EXPECT_EQ(monitor.m_nCount, 0);
    EXPECT_TRUE(m_log.Has("send WD MSG failed")) << m_log.All();
    EXPECT_TRUE(m_log.Has("send WD MSG ret=0")) << m_log.All();
}

TEST_F(NoticeTest, PollOfAMissingInstanceContinuesWithTheResultUnchanged) {
    StartWithMark(L"ml");
    CMonitorWindow monitor(CMonitorWindow::Mood::Answers);
    std::string result = "1";
    m_host.OpenMiniAppSuccessfullyByServiceId("nobody", kShown, result, false, CNeverStops());
    EXPECT_EQ(result, "1");
    EXPECT_EQ(monitor.m_nCount, 1);
    EXPECT_TRUE(m_log.Has("send to WD success")) << m_log.All();
    const std::string beacon = m_log.Find("Report:");
    EXPECT_NE(beacon.find("/static/a/1687.8948.gif?_referer=wx1%5FJump"), std::string::npos) << beacon;
}

TEST_F(NoticeTest, PollOfAnInstanceTakesItsResult) {
    m_host.Init(L"/from:ml /service_id:first");
    std::string result = "1";
    m_host.OpenMiniAppSuccessfullyByServiceId("first", kShown, result, true, CNeverStops());
    EXPECT_NE(result, "1") << "no such open was started";
    EXPECT_FALSE(m_log.Has("send to WD success")) << m_log.All();
}

TEST_F(NoticeTest, PollForADestroyedInstanceDoesNothing) {
    class CStopped final : public IStopToken {
      public:
        bool StopRequested() const override { return true; }
    };
    StartWithMark(L"ml");
    std::string result = "1";
    m_host.OpenMiniAppSuccessfullyByServiceId("nobody", kShown, result, false, CStopped());
    EXPECT_FALSE(m_log.Has("enter to NotifyWDMonitorMsg")) << m_log.All();
    EXPECT_FALSE(m_host.SetInstanceParam(
        "id", {.strPipeName = L"pipe", .nInterval = 1, .nTaskOp = 1, .nDllOp = 1, .nDestroyOp = 1}, CStopped()));
    InstanceParam param;
    EXPECT_FALSE(m_host.GetInstanceParam("id", param));
}

}  // namespace
