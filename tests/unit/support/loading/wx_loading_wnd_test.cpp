// The loading window's class: messages, setters, the icon's way from the server to the window.
#include "support/loading/wx_loading_wnd.h"

#include "support/loading/loading_font.h"
#include "support/loading/loading_layout.h"
#include "tests/support/late_fault.h"
#include "tests/unit/support/loading/loading_window_fixture.h"

namespace {

using namespace pictures;

class WxLoadingWnd : public LoadingWindowTest {
  protected:
    // The window of this thread, made and in its place, but not shown.
    HWND Make() {
        const HWND window = m_window.Create();
        m_window.Resize();
        return window;
    }
    std::filesystem::path File(const wchar_t* name, const Bytes& bytes) const {
        WriteFileBytes(m_folder.Path() / name, bytes);
        return m_folder.Path() / name;
    }
    std::uint32_t Icon(HWND window) const {
        const LoadingBox icon = LoadingIconBox(0, 0, SystemDpi());
        return ColourOn(window, icon.left + icon.width / 2, icon.top + icon.height / 10);
    }

    CTempFolder m_folder;
    CWxLoadingWnd m_window;
};

TEST_F(WxLoadingWnd, HasAnAutomaticClassName) {
    const HWND window = Make();
    ASSERT_NE(window, nullptr);
    wchar_t name[64] = {};
    ASSERT_EQ(GetClassNameW(window, name, 64), 4 + 16) << Utf16ToUtf8(name);
    EXPECT_EQ(std::wstring(name).substr(0, 4), L"ATL:");
    EXPECT_EQ(std::wstring(name).find_first_not_of(L"0123456789ABCDEF", 4), std::wstring::npos) << Utf16ToUtf8(name);

    EXPECT_STREQ(m_window.GetWndClassName(), L"");
    EXPECT_TRUE(m_log.Has("GetWndClassName m_strClassNmae :[]")) << m_log.All();
    CWxLoadingWnd another;
    wchar_t same[64] = {};
    GetClassNameW(another.Create(), same, 64);
    EXPECT_STREQ(same, name) << "one class for all windows";
}

TEST_F(WxLoadingWnd, ItsClassHasAnArrowAndNoIcon) {
    const HWND window = Make();
    WNDCLASSEXW wc{};
    wc.cbSize = sizeof(wc);
    wchar_t name[64] = {};
    GetClassNameW(window, name, 64);
    ASSERT_TRUE(GetClassInfoExW(GetModuleHandleW(nullptr), name, &wc));
    EXPECT_EQ(wc.style, 0x000Bu);
    EXPECT_EQ(wc.hbrBackground, reinterpret_cast<HBRUSH>(6));
    EXPECT_EQ(wc.hCursor, LoadCursorW(nullptr, IDC_ARROW));
    EXPECT_EQ(wc.hIcon, nullptr);
    EXPECT_EQ(wc.hIconSm, nullptr);
    EXPECT_EQ(wc.lpszMenuName, nullptr);
}

TEST_F(WxLoadingWnd, IsMadeHiddenAndWithoutSize) {
    const HWND window = m_window.Create();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(m_window.Window(), window);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_TRUE(m_log.Has("OnCreate"));
}

TEST_F(WxLoadingWnd, PaintingBeforeItHasASizeDoesNothing) {
    ASSERT_NE(m_window.Create(), nullptr);
    m_window.PaintLayered();
    EXPECT_TRUE(m_log.Has("PaintLayered"));
    CWxLoadingWnd none;
    none.PaintLayered();
    EXPECT_EQ(none.Window(), nullptr);
}

TEST_F(WxLoadingWnd, StaysTwoSecondsUnlessATimeoutIsSet) {
    EXPECT_EQ(m_window.TimeOut(), 2000u);
    m_window.SetTimeOut(0);
    EXPECT_EQ(m_window.TimeOut(), 0u);
    m_window.SetTimeOut(0xFFFFFFFF);
    EXPECT_TRUE(m_log.Has("SetTimeOut dwTimeOut :[-1]")) << m_log.All();
}

TEST_F(WxLoadingWnd, MissingPicturesEndItAtOnceAndThePopToo) {
    CWxLoadingWnd window(GetModuleHandleW(L"kernel32.dll"));
    EXPECT_EQ(window.Create(), nullptr);
    EXPECT_TRUE(m_log.Has("OnCreate"));
    EXPECT_FALSE(m_log.Has("OnClose"));
    EXPECT_EQ(LoadingWindowOf(GetCurrentThreadId()), nullptr);

    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    ShowLoadingWindow(window, Request());  // comes back
    EXPECT_TRUE(m_log.Has("SetTimeOut dwTimeOut :[600000]")) << m_log.All();
    EXPECT_EQ(m_server.Requests().size(), 1u) << "the icon is fetched all the same";
    EXPECT_EQ(m_log.Find("OnTimer"), "");
}

TEST_F(WxLoadingWnd, AVisibleWindowIsLeftAlone) {
    const HWND window = Make();
    ShowWindow(window, SW_SHOWNOACTIVATE);
    ShowLoadingWindow(m_window, Request());
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_EQ(m_log.Find("SetAppText"), "") << m_log.All();
}

TEST_F(WxLoadingWnd, SettersTellWhatTheyGet) {
    m_window.SetAppText(L"小程序 100%s");
    m_window.SetAppName();
    m_window.SetAppWndName(L"");
    EXPECT_TRUE(m_log.Has("SetAppText strAppText :[小程序 100%s]")) << m_log.All();
    EXPECT_TRUE(m_log.Has("SetAppName strAppName :[小程序 100%s]")) << m_log.All();
    EXPECT_TRUE(m_log.Has("SetAppWndName strAppWndName :[]")) << m_log.All();
}

TEST_F(WxLoadingWnd, AnswersItsMessages) {
    const HWND window = Make();
    EXPECT_EQ(SendMessageW(window, WM_ERASEBKGND, 0, 0), 1);
    EXPECT_EQ(SendMessageW(window, WM_SHOWWINDOW, TRUE, 0), 0);
    EXPECT_EQ(SendMessageW(window, WM_TIMER, 257, 0), 0);
    EXPECT_TRUE(IsWindow(window));
    EXPECT_EQ(m_log.Find("OnTimer"), "");
    EXPECT_EQ(SendMessageW(window, WM_NCHITTEST, 0, MAKELPARAM(0, 0)), HTCLIENT) << "the default procedure's answer";
    SendMessageW(window, WM_PAINT, 0, 0);
    EXPECT_EQ(m_log.Count("PaintLayered"), 1u);
}

TEST_F(WxLoadingWnd, ATimerThatClosesHidesTheWindowFirstAndStopsItself) {
    const HWND window = Make();
    ShowWindow(window, SW_SHOWNOACTIVATE);
    m_window.SetTimeOut(600'000);
    m_window.StartTimers();
    SendMessageW(window, WM_TIMER, TIMER_ID_DELYA_CLOSE, 0);
    EXPECT_FALSE(IsWindowVisible(window));
    ASSERT_TRUE(IsWindow(window)) << "closing is a message of its own";
    EXPECT_FALSE(KillTimer(window, TIMER_ID_DELYA_CLOSE)) << "gone";
    EXPECT_TRUE(KillTimer(window, TIMER_ID_CHECK_WXWND_SHOW)) << "only its own timer is stopped";
    MSG message{};
    ASSERT_TRUE(PeekMessageW(&message, window, WM_CLOSE, WM_CLOSE, PM_REMOVE));
    DispatchMessageW(&message);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(m_window.Window(), nullptr);
}

// Timers that are due come in the order of their times, however late they are looked at: so one of the test's own just
// before and one just after tell what the window has set.
TEST_F(WxLoadingWnd, ItsTimeoutReachesTheTimerInMilliseconds) {
    for (const std::uint32_t timeOut : {300u, 700u}) {
        const HWND window = Make();
        ASSERT_NE(window, nullptr);
        m_window.SetAppWndName(m_title);
        m_window.SetTimeOut(timeOut);
        const UINT_PTR before = SetTimer(nullptr, 0, timeOut - 100, nullptr);
        m_window.StartTimers();
        const UINT_PTR after = SetTimer(nullptr, 0, timeOut + 100, nullptr);
        std::string order;
        for (MSG message; !order.ends_with("after") && GetMessageW(&message, nullptr, 0, 0) > 0;) {
            if (message.message == WM_TIMER && message.hwnd == nullptr) {
                KillTimer(nullptr, message.wParam);
                order += message.wParam == before ? "before " : "after";
            } else if (message.message == WM_TIMER && message.wParam == TIMER_ID_DELYA_CLOSE) {
                DispatchMessageW(&message);
                order += "close ";
            } else {
                DispatchMessageW(&message);
            }
        }
        EXPECT_NE(after, before);
        EXPECT_EQ(order, "before close after") << timeOut;
        DestroyWindow(window);
    }
}

// Names that were asked for, and which of them the system has.
std::wstring g_askedFamilies;
std::wstring g_knownFamily;
Gdiplus::GpStatus AnswerFamily(const WCHAR* name, Gdiplus::GpFontCollection*, Gdiplus::GpFontFamily** family) {
    g_askedFamilies += std::wstring(name) + L";";
    *family = name == g_knownFamily ? reinterpret_cast<Gdiplus::GpFontFamily*>(1) : nullptr;
    return name == g_knownFamily ? Gdiplus::Ok : Gdiplus::FontFamilyNotFound;
}
Gdiplus::GpStatus AnswerGeneric(Gdiplus::GpFontFamily** family) {
    g_askedFamilies += L"generic;";
    *family = reinterpret_cast<Gdiplus::GpFontFamily*>(2);
    return Gdiplus::Ok;
}
Gdiplus::GpStatus NoGeneric(Gdiplus::GpFontFamily**) {
    return Gdiplus::FontFamilyNotFound;
}
Gdiplus::GpStatus KeepFamily(Gdiplus::GpFontFamily*) {
    return Gdiplus::Ok;
}

TEST_F(WxLoadingWnd, ItsFontIsTheFirstOfItsFamiliesThatTheSystemHas) {
    const CLateFault byName(Late::GdipCreateFontFamilyFromName, &AnswerFamily);
    const CLateFault generic(Late::GdipGetGenericFontFamilySansSerif, &AnswerGeneric);
    const CLateFault free(Late::GdipDeleteFontFamily, &KeepFamily);
    const auto asked = [](const wchar_t* known) {
        g_askedFamilies.clear();
        g_knownFamily = known;
        EXPECT_NE(MakeLoadingFontFamily(), nullptr);
        return g_askedFamilies;
    };
    EXPECT_EQ(asked(L"微软雅黑"), L"微软雅黑;");
    EXPECT_EQ(asked(L"Microsoft YaHei"), L"微软雅黑;Microsoft YaHei;");
    EXPECT_EQ(asked(L"another"), L"微软雅黑;Microsoft YaHei;generic;");
    const CLateFault none(Late::GdipGetGenericFontFamilySansSerif, &NoGeneric);
    EXPECT_EQ(MakeLoadingFontFamily(), nullptr);
}

int g_nDecoded = 0;
Gdiplus::GpStatus CountDecoding(IStream*, Gdiplus::GpImage**) {
    ++g_nDecoded;
    return Gdiplus::InvalidParameter;
}

TEST_F(WxLoadingWnd, APictureOfMoreThan64MillionPixelsLeavesTheDefaultIcon) {
    ASSERT_NE(Make(), nullptr);
    const CLateFault fault(Late::GdipLoadImageFromStream, &CountDecoding);
    g_nDecoded = 0;
    // 30000 by 30000 points of one bit, as a header alone.
    const Bytes header = {0x89, 'P', 'N', 'G',  0x0D, 0x0A, 0x1A, 0x0A, 0,    0, 0, 13, 'I', 'H', 'D',
                          'R',  0,   0,   0x75, 0x30, 0,    0,    0x75, 0x30, 1, 0, 0,  0,   0};
    m_window.SetAppIcon(File(L"large.png", header).wstring());
    EXPECT_EQ(g_nDecoded, 0);
    EXPECT_EQ(m_log.Find("PaintLayered"), "") << m_log.All();
    m_window.SetAppIcon(File(L"small.bmp", TwoColourBmp(4, 4, kRed, kRed)).wstring());
    EXPECT_EQ(g_nDecoded, 1);
}

TEST_F(WxLoadingWnd, CloseAndDestroyTakeTheWindowAway) {
    HWND window = Make();
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_TRUE(m_log.Has("OnClose"));
    window = Make();
    ASSERT_NE(window, nullptr) << "the object can make another one";
    DestroyWindow(window);
    EXPECT_EQ(m_window.Window(), nullptr);
}

TEST_F(WxLoadingWnd, TheWindowGoesWithTheObject) {
    HWND window = nullptr;
    {
        CWxLoadingWnd short_lived;
        window = short_lived.Create();
        EXPECT_TRUE(IsWindow(window));
    }
    EXPECT_FALSE(IsWindow(window));
}

class CCountingWnd : public CWxLoadingWnd {
  public:
    void OnFinalMessage(HWND window) override {
        ++m_nFinal;
        m_hFinal = window;
    }
    int m_nFinal = 0;
    HWND m_hFinal = nullptr;
};

TEST_F(WxLoadingWnd, TheFinalMessageComesOnceAndLast) {
    CCountingWnd counting;
    const HWND window = counting.Create();
    EXPECT_EQ(counting.m_nFinal, 0);
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(counting.m_nFinal, 1);
    EXPECT_EQ(counting.m_hFinal, window);
}

TEST_F(WxLoadingWnd, AnIconFileIsShownInPlaceOfTheDefaultIcon) {
    const HWND window = Make();
    ShowWindow(window, SW_SHOWNOACTIVATE);
    m_window.PaintLayered();
    EXPECT_TRUE(WaitUntil([&] { return Icon(window) == 0x3D5AFE; })) << std::hex << Icon(window);
    const auto path = File(L"red.bmp", TwoColourBmp(40, 40, kRed, kRed));
    m_window.SetAppIcon(path.wstring());
    EXPECT_TRUE(m_log.Has("SetAppIcon strAppIconPath :[" + Text(path) + "]"));
    EXPECT_EQ(m_log.Count("PaintLayered"), 2u) << "it is painted at once";
    EXPECT_TRUE(WaitUntil([&] { return Icon(window) == kRed; })) << std::hex << Icon(window);
    EXPECT_TRUE(std::filesystem::remove(path)) << "the file is free";

    m_window.SetAppIcon(File(L"blue.bmp", TwoColourBmp(40, 40, kBlue, kBlue)).wstring());
    EXPECT_EQ(m_log.Count("PaintLayered"), 3u);
    EXPECT_EQ(Icon(window), kRed) << "an icon that is there stays";
    m_window.ClearAppIcon();
    m_window.SetAppIcon((m_folder.Path() / L"blue.bmp").wstring());
    EXPECT_TRUE(WaitUntil([&] { return Icon(window) == kBlue; })) << std::hex << Icon(window);
}

TEST_F(WxLoadingWnd, AnIconFileThatDoesNotDecodeLeavesTheDefaultIcon) {
    const HWND window = Make();
    ShowWindow(window, SW_SHOWNOACTIVATE);
    m_window.SetAppIcon(File(L"text.png", {'n', 'o', ' ', 'p', 'i', 'c', 't', 'u', 'r', 'e'}).wstring());
    m_window.SetAppIcon(File(L"empty.png", {}).wstring());
    m_window.SetAppIcon((m_folder.Path() / L"missing.png").wstring());
    m_window.SetAppIcon(m_folder.Path().wstring());
    EXPECT_EQ(m_log.Find("PaintLayered"), "") << "nothing new to show";
    m_window.PaintLayered();
    EXPECT_TRUE(WaitUntil([&] { return Icon(window) == 0x3D5AFE; })) << std::hex << Icon(window);
    // A later file that does decode is taken.
    m_window.SetAppIcon(File(L"red.bmp", TwoColourBmp(40, 40, kRed, kRed)).wstring());
    EXPECT_TRUE(WaitUntil([&] { return Icon(window) == kRed; })) << std::hex << Icon(window);
}

TEST_F(WxLoadingWnd, TheIconsFileIsNamedAfterTheTextOrByItsDefault) {
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_TRUE(m_log.Has("DownAppIcon strDLPath :[" + Text(IconFolder() / L"tmpIcon.png.png") + "]")) << m_log.All();
    m_window.SetAppText(m_name);
    m_window.SetAppName();
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_TRUE(m_log.Has("DownAppIcon strDLPath :[" + Text(IconFile()) + "]")) << m_log.All();
    EXPECT_TRUE(std::filesystem::exists(IconFile()));
}

TEST_F(WxLoadingWnd, TheIconFolderIsMadeWhenItIsMissing) {
    std::filesystem::remove_all(IconFolder());
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_TRUE(std::filesystem::is_directory(IconFolder()));
}

// The variable that GetTempPathW asks first, for the length of a scope.
class CTempVariable {
  public:
    explicit CTempVariable(const std::filesystem::path& path) {
        GetEnvironmentVariableW(L"TMP", m_old, MAX_PATH);
        SetEnvironmentVariableW(L"TMP", path.c_str());
    }
    ~CTempVariable() { SetEnvironmentVariableW(L"TMP", m_old[0] != L'\0' ? m_old : nullptr); }
    CTempVariable(const CTempVariable&) = delete;
    CTempVariable& operator=(const CTempVariable&) = delete;

  private:
    wchar_t m_old[MAX_PATH] = {};
};

TEST_F(WxLoadingWnd, WithoutAnIconFolderTheFileIsInTheCurrentOne) {
    const std::filesystem::path current = std::filesystem::current_path();
    std::filesystem::current_path(m_folder.Path());
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    m_window.SetAppText(m_name);
    m_window.SetAppName();
    {
        const CTempVariable nowhere(m_folder.Path() / L"no" / L"such" / L"folder");
        m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    }
    std::filesystem::current_path(current);
    EXPECT_TRUE(m_log.Has("DownAppIcon strDLPath :[" + Utf16ToUtf8(m_name) + ".png]")) << m_log.All();
    EXPECT_TRUE(std::filesystem::exists(m_folder.Path() / (m_name + L".png"))) << m_log.All();
}

TEST_F(WxLoadingWnd, ANameThatCanBeNoFileLeavesTheDefaultIcon) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    m_window.SetAppText(L"a:b?*|" + std::wstring(400, L'长'));
    m_window.SetAppName();
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_NE(m_log.Find("HttpDownload strPath"), "") << m_log.All();
    EXPECT_NE(m_log.Find("download failed"), "") << m_log.All();
    EXPECT_EQ(m_log.Find("PaintLayered"), "");
}

TEST_F(WxLoadingWnd, AReadOnlyIconOfEarlierIsReplaced) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    std::filesystem::create_directories(IconFolder());
    WriteFileBytes(IconFile(), {1, 2, 3});
    SetFileAttributesW(IconFile().c_str(), FILE_ATTRIBUTE_READONLY);
    m_window.SetAppText(m_name);
    m_window.SetAppName();
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_TRUE(m_log.Has("HttpDownload strPath :[" + Text(IconFile()) + "], download success")) << m_log.All();
    EXPECT_GT(std::filesystem::file_size(IconFile()), 3u);
}

TEST_F(WxLoadingWnd, AReadOnlyIconOfEarlierDoesNotSurviveAFailedDownload) {
    std::filesystem::create_directories(IconFolder());
    WriteFileBytes(IconFile(), {1, 2, 3});
    SetFileAttributesW(IconFile().c_str(), FILE_ATTRIBUTE_READONLY);
    m_window.SetAppText(m_name);
    m_window.SetAppName();
    m_window.DownAppIcon(m_server.Url(L"/icon.png"));
    EXPECT_FALSE(std::filesystem::exists(IconFile()));
}

TEST_F(WxLoadingWnd, ANameThatIsADevicesLeavesTheDefaultIcon) {
    m_reply = HttpTestReply::Of(200, FlatPicture(kRed));
    for (const wchar_t* name : {L"NUL", L"COM1", L"aux ", L"..\\PRN"}) {
        m_window.SetAppText(name);
        m_window.SetAppName();
        m_window.DownAppIcon(m_server.Url(L"/icon.png"));
        EXPECT_TRUE(m_log.Has("HttpDownload strPath :[" + Text(IconFolder()) + "\\" + Utf16ToUtf8(name) +
                              ".png], download failed"))
            << m_log.All();
    }
    EXPECT_EQ(m_log.Find("SetAppIcon"), "") << m_log.All();
}

class HttpDownloadCallback : public testing::Test {
  protected:
    std::uint32_t Save(const void* data, std::uint32_t size) {
        std::wstring path = Target().wstring();
        return HttpDownload(200, data, size, path.data());
    }
    std::filesystem::path Target() const { return m_folder.Path() / L"图标.png"; }
    CTempFolder m_folder;
    LogCapture m_log;
};

TEST_F(HttpDownloadCallback, PutsTheBytesInPlace) {
    EXPECT_EQ(Save("abc", 3), 0u);
    EXPECT_EQ(ReadFileBytes(Target()), (Bytes{'a', 'b', 'c'}));
    EXPECT_TRUE(m_log.Has("HttpDownload strPath :[" + Utf16ToUtf8(Target().wstring()) + "], download success"))
        << m_log.All();
    EXPECT_FALSE(std::filesystem::exists(Target().wstring() + L".write_cache"));
}

TEST_F(HttpDownloadCallback, WithoutBytesOrPathNothingIsTried) {
    EXPECT_EQ(Save("", 0), 1u);
    EXPECT_EQ(Save(nullptr, 3), 1u);
    EXPECT_EQ(HttpDownload(200, "abc", 3, nullptr), 1u);
    wchar_t empty[] = L"";
    EXPECT_EQ(HttpDownload(200, "abc", 3, empty), 1u);
    EXPECT_EQ(m_log.All(), "");
    EXPECT_FALSE(std::filesystem::exists(Target()));
}

TEST_F(HttpDownloadCallback, AFileThatCannotBeWrittenIsLogged) {
    std::wstring path = (m_folder.Path() / L"missing" / L"icon.png").wstring();
    EXPECT_EQ(HttpDownload(200, "abc", 3, path.data()), 1u);
    EXPECT_TRUE(m_log.Has("HttpDownload strPath :[" + Utf16ToUtf8(path) + "], download failed")) << m_log.All();
}

}  // namespace
