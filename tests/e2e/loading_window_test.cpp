// The loading window of the real helper, on a real screen, while the stand-in client is slow to come.
#include "tests/e2e/proxied.h"

#include <filesystem>
#include <optional>

#include <gtest/gtest.h>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "tests/support/screen_windows.h"
#include "tests/support/stand_in_wechat.h"
#include "tests/support/unique_name.h"
#include "tests/unit/support/picture/picture_files.h"

namespace {

constexpr std::uint32_t kRed = 0xFF0000;
constexpr char kIconUrl[] = "http://pictures.invalid/icon.png";

class OpenWithWindow : public CProxied {
  protected:
    void SetUp() override {
        CProxied::SetUp();
        m_client.emplace(std::filesystem::path(m_sandbox.SdkPath()) / L"wechat");
        m_client->Set(L"gate", m_gate.Name());
        m_client->Set(L"title", m_strTitle);
        StartHelper();
    }
    void TearDown() override {
        CProxied::TearDown();
        m_client.reset();
        std::error_code error;
        std::filesystem::remove(Icon(), error);
    }
    HttpTestReply Answer(const HttpTestRequest& request) override {
        return request.strTarget.find("pictures.invalid") == std::string::npos ? CProxied::Answer(request) : m_picture;
    }
    std::filesystem::path Icon() const {
        return std::filesystem::temp_directory_path() / L"NxlIconCache" / (m_strName + L".png");
    }

    std::string Request(int timeOut) const {
        Json::Value open(Json::objectValue);
        open["type"] = "weChat";
        open["urlScheme"] = m_client->Url("page?a=1");
        open["wndname"] = Utf16ToUtf8(m_strTitle);
        open["taskId"] = "t";
        open["from"] = "e2e";
        open["loadingWnd"]["show"] = 1;
        open["loadingWnd"]["timeOut"] = timeOut;
        open["loadingWnd"]["name"] = Utf16ToUtf8(m_strName);
        open["loadingWnd"]["iconUrl"] = kIconUrl;
        return WriteJson(open);
    }

    // The helper's window, once it is on the screen.
    HWND Shown() const {
        HWND window = nullptr;
        EXPECT_TRUE(WaitUntil([&] { return (window = AnyLoadingWindow()) != nullptr && IsWindowVisible(window); }));
        DWORD owner = 0;
        GetWindowThreadProcessId(window, &owner);
        EXPECT_EQ(owner, m_helper.Id());
        return window;
    }

    const std::wstring m_strTitle = UniqueName(L"小程序 page");
    const std::wstring m_strName = UniqueName(L"应用");
    HttpTestReply m_picture = HttpTestReply::Of(404);
    CTestEvent m_gate;
    std::optional<CStandInWeChat> m_client;
};

TEST_F(OpenWithWindow, IsOnTheScreenUntilTheTargetsWindowComesAndLeavesTheFocusAlone) {
    const pictures::Bytes red = pictures::TwoColourBmp(40, 40, kRed, kRed);
    m_picture = HttpTestReply::Of(200, std::string(red.begin(), red.end()));
    const CTitledWindow other(UniqueName(L"other"), /*bVisible=*/true);
    SetForegroundWindow(other.Get());
    ASSERT_TRUE(WaitUntil([&] { return GetForegroundWindow() == other.Get(); }));

    EXPECT_EQ(Open(Request(600'000)), "1");
    const HWND window = Shown();
    ASSERT_NE(window, nullptr);
    const RECT rect = RectOf(window);
    EXPECT_EQ(rect.right - rect.left, 360);
    EXPECT_EQ(rect.bottom - rect.top, 360);
    EXPECT_TRUE(WaitUntil([&] { return ColourOn(window, 180, 198) == kRed; }))
        << std::hex << ColourOn(window, 180, 198);
    EXPECT_EQ(GetForegroundWindow(), other.Get());

    m_gate.Set();
    EXPECT_TRUE(WaitUntil([&] { return !IsWindow(window); }));
    EXPECT_TRUE(Log().Has("OnTimer TIMER_ID_CHECK_WXWND_SHOW success"));
    ExpectServed();
}

TEST_F(OpenWithWindow, ClosesWhenItsTimeIsUpAndTheOpenContinues) {
    EXPECT_EQ(Open(Request(300)), "1");
    EXPECT_TRUE(Log().WaitFor("OnTimer TIMER_ID_DELYA_CLOSE", kLongMs));
    EXPECT_TRUE(WaitUntil([] { return AnyLoadingWindow() == nullptr; }));
    m_gate.Set();
    EXPECT_TRUE(m_client->WaitForCall("window " + Utf16ToUtf8(m_strTitle)));
    EXPECT_EQ(Poll(Request(300)), "1");
}

TEST_F(OpenWithWindow, ASlowIconServerHoldsUpTheWindowButNotTheCaller) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_picture.nBytesBeforeGate = 0;
    m_picture.hGate = gate.get();
    EXPECT_EQ(Open(Request(600'000)), "1");
    ASSERT_TRUE(WaitForTargets("pictures.invalid", 1));
    ExpectServed();
    const HWND hidden = AnyLoadingWindow();
    EXPECT_FALSE(IsWindowVisible(hidden));
    SetEvent(gate.get());
    EXPECT_EQ(Shown(), hidden);
    // The icon that comes with the program.
    EXPECT_TRUE(WaitUntil([&] { return ColourOn(hidden, 180, 160) == 0x3D5AFE; }))
        << std::hex << ColourOn(hidden, 180, 160);
    m_gate.Set();
    EXPECT_TRUE(WaitUntil([&] { return !IsWindow(hidden); }));
}

}  // namespace
