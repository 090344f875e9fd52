// The loading window as a user at the screen sees it.
#include "support/loading/loading_window.h"

#include "support/loading/loading_layout.h"
#include "tests/unit/support/loading/loading_window_fixture.h"

namespace {

using LoadingWindow = LoadingWindowTest;

TEST_F(LoadingWindow, IsInTheMiddleOnTopWithoutATaskBarButton) {
    CPop pop(Request());
    const HWND window = pop.Shown();
    ASSERT_NE(window, nullptr) << m_log.All();
    const auto extended = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_EXSTYLE));
    EXPECT_EQ(extended & 0x00080088, 0x00080088u) << std::hex << extended;
    EXPECT_EQ(extended & WS_EX_APPWINDOW, 0u);
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE));
    EXPECT_EQ(style & WS_POPUP, static_cast<DWORD>(WS_POPUP));
    EXPECT_EQ(style & (WS_BORDER | WS_DLGFRAME | WS_SYSMENU | WS_THICKFRAME), 0u) << std::hex << style;
    EXPECT_EQ(GetWindow(window, GW_OWNER), nullptr);
    EXPECT_EQ(GetMenu(window), nullptr);
    EXPECT_EQ(GetWindowTextLengthW(window), 0);

    MONITORINFO monitor{};
    monitor.cbSize = sizeof(monitor);
    ASSERT_TRUE(GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &monitor));
    const RECT& work = monitor.rcWork;
    const RECT rect = RectOf(window);
    const int side = ScaleByDpi(360, SystemDpi());
    EXPECT_EQ(rect.right - rect.left, side);
    EXPECT_EQ(rect.bottom - rect.top, side);
    EXPECT_EQ(rect.left, (work.left + work.right) / 2 - side / 2);
    EXPECT_EQ(rect.top, (work.top + work.bottom) / 2 - side / 2);
}

TEST_F(LoadingWindow, LeavesTheFocusWhereItIs) {
    const CTitledWindow other(UniqueName(L"other"), /*bVisible=*/true);
    SetForegroundWindow(other.Get());
    SetFocus(other.Get());
    ASSERT_TRUE(WaitUntil([&] { return GetForegroundWindow() == other.Get(); }));
    CPop pop(Request());
    const HWND window = pop.Shown();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(WaitUntil([&] { return m_log.Has("PaintLayered"); }));
    EXPECT_EQ(GetForegroundWindow(), other.Get());
    EXPECT_EQ(GetFocus(), other.Get());
    // Above all that are not on top themselves, although it is not active.
    for (HWND above = GetWindow(window, GW_HWNDPREV); above != nullptr; above = GetWindow(above, GW_HWNDPREV)) {
        EXPECT_NE(above, other.Get());
    }
}

TEST_F(LoadingWindow, GoesWhenItsTimeIsUp) {
    LoadingWindowRequest request = Request();
    request.timeOut = 50;
    CPop pop(request);
    ASSERT_TRUE(pop.WaitForEnd()) << m_log.All();
    EXPECT_EQ(m_log.Count("OnTimer TIMER_ID_DELYA_CLOSE"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("OnClose"), 1u) << m_log.All();
    EXPECT_FALSE(m_log.Has("OnTimer TIMER_ID_CHECK_WXWND_SHOW success")) << m_log.All();
    EXPECT_EQ(pop.Window(), nullptr);
}

TEST_F(LoadingWindow, GoesWhenTheAwaitedTitleAppears) {
    CPop pop(Request());
    ASSERT_NE(pop.Shown(), nullptr);
    EXPECT_FALSE(m_log.Has("OnTimer TIMER_ID_CHECK_WXWND_SHOW success"));
    const CTitledWindow awaited(m_title);
    ASSERT_TRUE(pop.WaitForEnd()) << m_log.All();
    EXPECT_EQ(m_log.Count("OnTimer TIMER_ID_CHECK_WXWND_SHOW success"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("OnClose"), 1u) << m_log.All();
    EXPECT_FALSE(m_log.Has("OnTimer TIMER_ID_DELYA_CLOSE")) << m_log.All();
}

TEST_F(LoadingWindow, PartOfTheAwaitedTitleIsNotEnough) {
    const CTitledWindow longer(m_title + L" and more");
    LoadingWindowRequest request = Request();
    request.timeOut = 400;  // some ticks of the other timer
    CPop pop(request);
    ASSERT_TRUE(pop.WaitForEnd());
    EXPECT_TRUE(m_log.Has("OnTimer TIMER_ID_DELYA_CLOSE")) << m_log.All();
}

TEST_F(LoadingWindow, AnAwaitedWindowThatIsThereAlreadyEndsItAtTheFirstLook) {
    const CTitledWindow awaited(m_title);
    CPop pop(Request());
    ASSERT_TRUE(pop.WaitForEnd());
    EXPECT_TRUE(m_log.Has("OnTimer TIMER_ID_CHECK_WXWND_SHOW success")) << m_log.All();
}

TEST_F(LoadingWindow, ATimeoutOfZeroIsPassedOnToTheTimer) {
    LoadingWindowRequest request = Request();
    request.timeOut = 0;
    CPop pop(request);
    ASSERT_TRUE(pop.WaitForEnd()) << m_log.All();
    EXPECT_TRUE(m_log.Has("SetTimeOut dwTimeOut :[0]")) << m_log.All();
    EXPECT_TRUE(m_log.Has("OnTimer TIMER_ID_DELYA_CLOSE")) << m_log.All();
}

TEST_F(LoadingWindow, EndsWhenTheUserClosesIt) {
    for (const bool bSent : {true, false}) {
        CPop pop(Request());
        const HWND window = pop.Shown();
        ASSERT_NE(window, nullptr);
        if (bSent) {
            SendMessageW(window, WM_CLOSE, 0, 0);
        } else {
            PostMessageW(window, WM_CLOSE, 0, 0);
        }
        EXPECT_TRUE(pop.WaitForEnd()) << bSent;
    }
    EXPECT_EQ(m_log.Count("OnClose"), 2u);
}

TEST_F(LoadingWindow, ShowsTheIconThatTheServerHas) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    CPop pop(Request());
    const HWND window = pop.Shown();
    ASSERT_NE(window, nullptr);
    const int dpi = SystemDpi();
    const LoadingBox icon = LoadingIconBox(0, 0, dpi);
    const int middle = icon.left + icon.width / 2;
    EXPECT_TRUE(WaitUntil([&] { return ColourOn(window, middle, icon.top + icon.height / 2) == kRed; }))
        << std::hex << ColourOn(window, middle, icon.top + icon.height / 2) << "\n"
        << m_log.All();
    // The whole square, and nothing around it.
    EXPECT_EQ(ColourOn(window, icon.left + 1, icon.top + 1), kRed);
    EXPECT_EQ(ColourOn(window, icon.left + icon.width - 2, icon.top + icon.height - 2), kRed);
    EXPECT_NE(ColourOn(window, icon.left - 2, icon.top + icon.height / 2), kRed);
    EXPECT_NE(ColourOn(window, middle, icon.top - 2), kRed);
    EXPECT_NE(ColourOn(window, middle, icon.top + icon.height + 1), kRed);
}

// The colours of the icon that comes with the program, where it is one flat colour.
void ExpectDefaultIcon(HWND window) {
    const LoadingBox icon = LoadingIconBox(0, 0, SystemDpi());
    constexpr std::uint32_t kTile = 0x3D5AFE;
    const auto colour = [&] { return ColourOn(window, icon.left + icon.width / 2, icon.top + icon.height / 10); };
    EXPECT_TRUE(WaitUntil([&] { return colour() == kTile; })) << std::hex << colour();
}

TEST_F(LoadingWindow, AnIconThatTheServerDoesNotHaveLeavesTheDefaultOne) {
    CPop pop(Request());
    const HWND window = pop.Shown();
    ASSERT_NE(window, nullptr);
    ExpectDefaultIcon(window);
    EXPECT_EQ(m_log.Find("SetAppIcon"), "") << m_log.All();
}

TEST_F(LoadingWindow, AServerThatIsNotThereLeavesTheDefaultIcon) {
    LoadingWindowRequest request = Request();
    for (const std::string url : {"", "ftp://127.0.0.1/icon.png", "http://127.0.0.1:9/icon.png"}) {
        request.iconUrl = url;
        CPop pop(request);
        const HWND window = pop.Shown();
        ASSERT_NE(window, nullptr) << url;
        ExpectDefaultIcon(window);
    }
}

TEST_F(LoadingWindow, AnIconThatIsNotAPictureLeavesTheDefaultOne) {
    m_reply = HttpTestReply::Of(200, "this is not a picture");
    CPop pop(Request());
    const HWND window = pop.Shown();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(m_log.Has("SetAppIcon strAppIconPath :[" + Text(IconFile()) + "]")) << m_log.All();
    ExpectDefaultIcon(window);
}

TEST_F(LoadingWindow, NothingIsOnTheScreenWhileTheIconIsFetched) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_reply = HttpTestReply::Of(200, FlatPicture(kBlue));
    HoldReplies(gate);
    CPop pop(Request());
    ASSERT_TRUE(m_server.WaitForRequests(1));
    const HWND window = pop.Window();
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(IsWindowVisible(window));
    SetEvent(gate.get());
    EXPECT_EQ(pop.Shown(), window);
}

TEST_F(LoadingWindow, AnswersWhatIsSentToItWhileTheIconIsFetched) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HoldReplies(gate);
    CPop pop(Request());
    ASSERT_TRUE(m_server.WaitForRequests(1));
    const HWND window = pop.Window();
    ASSERT_NE(window, nullptr);
    PostMessageW(window, WM_CLOSE, 0, 0);
    for (int i = 0; i < 3; ++i) {
        DWORD_PTR answer = 0;
        EXPECT_NE(SendMessageTimeoutW(window, WM_ERASEBKGND, 0, 0, SMTO_NORMAL, 10'000, &answer), 0);
        EXPECT_EQ(answer, 1u);
    }
    EXPECT_TRUE(IsWindow(window)) << "what is posted waits";
    EXPECT_FALSE(IsWindowVisible(window));
    SetEvent(gate.get());
    EXPECT_TRUE(pop.WaitForEnd()) << m_log.All();
    EXPECT_TRUE(m_log.Has("PaintLayered")) << m_log.All();
}

TEST_F(LoadingWindow, ClosedWhileTheIconIsFetchedItIsNeverShown) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    HoldReplies(gate);
    CPop pop(Request());
    ASSERT_TRUE(m_server.WaitForRequests(1));
    const HWND window = pop.Window();
    ASSERT_NE(window, nullptr);
    DWORD_PTR answer = 0;
    EXPECT_NE(SendMessageTimeoutW(window, WM_CLOSE, 0, 0, SMTO_NORMAL, 10'000, &answer), 0);
    EXPECT_FALSE(IsWindow(window));
    SetEvent(gate.get());
    EXPECT_TRUE(pop.WaitForEnd()) << m_log.All();
    EXPECT_EQ(m_log.Find("OnTimer"), "") << m_log.All();
}

// The platform's own functions, which those of the test call.
const WinInetApi* g_pPlatform = nullptr;

// On Windows the timeout of the session is that of its connections; Wine needs it said for the connection.
HINTERNET WINAPI ConnectWithTimeout(HINTERNET session, const wchar_t* host, INTERNET_PORT port, const wchar_t* user,
                                    const wchar_t* password, DWORD service, DWORD flags, DWORD_PTR context) {
    const HINTERNET connection = g_pPlatform->Connect(session, host, port, user, password, service, flags, context);
    DWORD timeoutMs = static_cast<DWORD>(g_nHttpTimeoutMs.load());
    g_pPlatform->SetOption(connection, INTERNET_OPTION_RECEIVE_TIMEOUT, &timeoutMs, sizeof(timeoutMs));
    return connection;
}

TEST_F(LoadingWindow, ComesAndGoesWhileTheIconServerHangs) {
    g_pPlatform = GetWinInetApi();
    WinInetApi api = *g_pPlatform;
    api.Connect = &ConnectWithTimeout;
    OverrideWinInetApi(&api);
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HoldReplies(gate);
    {
        LoadingWindowRequest request = Request();
        request.timeOut = 200;
        CPop byTime(request);
        CPop byTitle(Request());
        ASSERT_TRUE(m_server.WaitForRequests(2));
        ASSERT_NE(byTitle.Shown(), nullptr) << m_log.All();
        EXPECT_TRUE(byTime.WaitForEnd()) << m_log.All();
        const CTitledWindow awaited(m_title);
        EXPECT_TRUE(byTitle.WaitForEnd()) << m_log.All();
    }
    EXPECT_EQ(m_log.Count("OnTimer TIMER_ID_CHECK_WXWND_SHOW success"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("OnTimer TIMER_ID_DELYA_CLOSE"), 1u) << m_log.All();
    SetEvent(gate.get());
}

TEST_F(LoadingWindow, ALaterPopOfTheSameNameDeletesTheEarlierOnesFileFirst) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    CPop earlier(Request());
    const HWND window = earlier.Shown();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(std::filesystem::exists(IconFile()));

    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_reply = HttpTestReply::Of(404);
    HoldReplies(gate);
    CPop later(Request());
    ASSERT_TRUE(m_server.WaitForRequests(2));
    EXPECT_FALSE(std::filesystem::exists(IconFile())) << "no request before the old file is gone";
    SetEvent(gate.get());
    const HWND laterWindow = later.Shown();
    ASSERT_NE(laterWindow, nullptr);
    EXPECT_FALSE(std::filesystem::exists(IconFile()));

    // The earlier one has its picture in memory.
    SendMessageW(laterWindow, WM_CLOSE, 0, 0);
    InvalidateRect(window, nullptr, FALSE);
    const LoadingBox icon = LoadingIconBox(0, 0, SystemDpi());
    const auto colour = [&] { return ColourOn(window, icon.left + 3, icon.top + 3); };
    EXPECT_TRUE(WaitUntil([&] { return colour() == kRed; })) << std::hex << colour();
}

TEST_F(LoadingWindow, LeavesTheShortTimeoutSet) {
    EXPECT_EQ(g_nHttpTimeoutMs, kHttpTimeoutUnset);
    CPop pop(Request());
    ASSERT_NE(pop.Shown(), nullptr);
    EXPECT_EQ(g_nHttpTimeoutMs, 5000);
}

TEST_F(LoadingWindow, TellsItsWholeLifeInTheLog) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    LoadingWindowRequest request = Request();
    request.timeOut = 1;
    {
        CPop pop(request);
        ASSERT_TRUE(pop.WaitForEnd());
    }
    const std::string name = Utf16ToUtf8(m_name);
    const std::string file = Text(IconFile());
    const std::vector<std::string> expected = {
        "[CWxLoadingWnd::OnCreate(#)] OnCreate",
        "[CWxLoadingWnd::SetAppText(#)] SetAppText strAppText :[" + name + "]",
        "[CWxLoadingWnd::SetAppName(#)] SetAppName strAppName :[" + name + "]",
        "[CWxLoadingWnd::SetAppWndName(#)] SetAppWndName strAppWndName :[" + Utf16ToUtf8(m_title) + "]",
        "[CWxLoadingWnd::DownAppIcon(#)] DownAppIcon strAppIconUrl :[" + request.iconUrl + "]",
        "[CWxLoadingWnd::DownAppIcon(#)] DownAppIcon strDLPath :[" + file + "]",
        "[HttpDownload(#)] HttpDownload strPath :[" + file + "], download success",
        "[CWxLoadingWnd::SetAppIcon(#)] SetAppIcon strAppIconPath :[" + file + "]",
        "[CWxLoadingWnd::PaintLayered(#)] PaintLayered",
        "[CWxLoadingWnd::SetTimeOut(#)] SetTimeOut dwTimeOut :[1]",
        "[CWxLoadingWnd::PaintLayered(#)] PaintLayered",
        "[CWxLoadingWnd::OnTimer(#)] OnTimer TIMER_ID_DELYA_CLOSE",
        "[CWxLoadingWnd::OnClose(#)] OnClose",
    };
    std::vector<std::string> lines;
    for (std::string line : m_log.Lines()) {
        const std::size_t open = line.find('(');
        line.replace(open + 1, line.find(')') - open - 1, "#");
        // Wine 10 asks for a painting more often than Wine 8.
        const bool bPaintedAgain =
            line.find("PaintLayered") != std::string::npos && !lines.empty() && lines.back() == line;
        if (!bPaintedAgain && (line.starts_with("[CWxLoadingWnd") || line.starts_with("[HttpDownload("))) {
            lines.push_back(line);
        }
    }
    EXPECT_EQ(lines, expected) << m_log.All();
}

TEST_F(LoadingWindow, ManyPopsLeaveNoWindow) {
    LoadingWindowRequest request = Request();
    request.timeOut = 1;
    for (int i = 0; i < 20; ++i) {
        CPop pop(request);
        ASSERT_TRUE(pop.WaitForEnd()) << i;
        EXPECT_EQ(pop.Window(), nullptr);
    }
    EXPECT_EQ(m_log.Count("OnClose"), 20u);
}

}  // namespace
