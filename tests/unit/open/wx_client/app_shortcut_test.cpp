#include "open/wx_client/app_shortcut.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "tests/support/log_capture.h"

namespace {

using WX_CLIENT::AppShortcutCode;
using WX_CLIENT::CreateAppShortcut;
using WX_CLIENT::IAppShortcutEdge;
using Calls = std::vector<std::string>;

constexpr unsigned kBrokenOff = 0xFFFFFFFF;

// Writes down every call, and answers as it was told.
class CRecordingEdge final : public IAppShortcutEdge {
  public:
    std::wstring CacheFolder() override { return L"C:\\cache"; }
    bool DownLoadFile(const std::wstring& url, const std::wstring& folder, const std::wstring& fileName) override {
        Note(L"download " + url + L" to " + folder + L" as " + fileName);
        return m_bDownload;
    }
    ImageFormat GetImageFormatFromFile(const std::wstring& path) override {
        Note(L"format of " + path);
        return m_format;
    }
    void RemoveFile(const std::wstring& path) override { Note(L"remove " + path); }
    void RenameFile(const std::wstring& path, const std::wstring& newPath) override {
        Note(L"rename " + path + L" to " + newPath);
    }
    bool TuFileToIcoFile(const std::wstring& sourcePath, const std::wstring& icoPath) override {
        Note(L"icon of " + sourcePath + L" as " + icoPath);
        return m_bIcon;
    }
    bool CreateDesktopShortcut(const std::wstring& name, const std::wstring& target, const std::wstring& description,
                               const std::wstring& iconPath) override {
        Note(L"shortcut " + name + L" to " + target + L" [" + description + L"] with " + iconPath);
        return m_bShortcut;
    }
    void ReportDot(const std::wstring& url) override { Note(L"dot " + url); }
    void ReportCode(AppShortcutCode code) override { Note(L"code " + std::to_wstring(static_cast<int>(code))); }

    bool m_bDownload = true;
    ImageFormat m_format = ImageFormatPng;
    bool m_bIcon = true;
    bool m_bShortcut = true;
    Calls m_vecCalls;

  private:
    void Note(const std::wstring& call) { m_vecCalls.push_back(Utf16ToUtf8(call)); }
};

class AppShortcut : public testing::Test {
  protected:
    AppShortcut() {
        m_info.urlScheme = "nexlet-test://页面";
        m_info.create = true;
        m_info.imageUrl = "http://pictures.invalid/a.png";
        m_info.shortcutName = "快捷";
        m_info.successDot = "http://dots.invalid/success";
        m_info.errorDot = "http://dots.invalid/error";
    }
    unsigned Create() { return CreateAppShortcut(&m_info, m_edge); }

    AppOpenInfo m_info;
    CRecordingEdge m_edge;
    LogCapture m_log;
};

const Calls kDownload = {"download http://pictures.invalid/a.png to C:\\cache as 快捷"};
const Calls kUntilIcon = {kDownload[0],
                          "format of C:\\cache\\快捷",
                          "remove C:\\cache\\快捷.png",
                          "rename C:\\cache\\快捷 to C:\\cache\\快捷.png",
                          "remove C:\\cache\\快捷.ico",
                          "icon of C:\\cache\\快捷.png as C:\\cache\\快捷.ico"};
const std::string kWrite = "shortcut 快捷 to nexlet-test://页面 [打开微信小程序] with C:\\cache\\快捷.ico";
const std::string kSuccessDot = "dot http://dots.invalid/success";
const std::string kErrorDot = "dot http://dots.invalid/error";

Calls operator+(Calls calls, const Calls& further) {
    calls.insert(calls.end(), further.begin(), further.end());
    return calls;
}

TEST_F(AppShortcut, AWrittenOneTellsTheCallerAndCodeOne) {
    EXPECT_EQ(Create(), 0u);
    EXPECT_EQ(m_edge.m_vecCalls, (kUntilIcon + Calls{kWrite, kSuccessDot, "code 1"}));
    EXPECT_EQ(m_log.Count("CreateAppShortcut begin"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Find("CreateAppShortcut begin").find("[WX_CLIENT::CreateAppShortcut("), 0u) << m_log.All();
}

TEST_F(AppShortcut, AFailedDownloadIsCodeTwo) {
    m_edge.m_bDownload = false;
    EXPECT_EQ(Create(), kBrokenOff);
    EXPECT_EQ(m_edge.m_vecCalls, (kDownload + Calls{kErrorDot, "code 2"}));
    EXPECT_TRUE(m_log.Has("url download failed, [http://pictures.invalid/a.png]")) << m_log.All();
}

TEST_F(AppShortcut, OnlyPngAndJpegAreFitAndAllOthersAreCodeThree) {
    for (const ImageFormat format :
         {ImageFormatUnknown, ImageFormatBmp, ImageFormatGif, ImageFormatIco, ImageFormatWebp}) {
        m_edge.m_vecCalls.clear();
        m_edge.m_format = format;
        EXPECT_EQ(Create(), kBrokenOff);
        EXPECT_EQ(m_edge.m_vecCalls, (kDownload + Calls{kUntilIcon[1], kErrorDot, "code 3"})) << format;
    }
}

TEST_F(AppShortcut, AFailedIconIsCodeFour) {
    m_edge.m_bIcon = false;
    EXPECT_EQ(Create(), kBrokenOff);
    EXPECT_EQ(m_edge.m_vecCalls, (kUntilIcon + Calls{kErrorDot, "code 4"}));
    EXPECT_TRUE(m_log.Has("[C:\\cache\\快捷.png] to ico failed")) << m_log.All();
}

TEST_F(AppShortcut, AFailedShortcutIsCodeFiveAndAnEndAllTheSame) {
    m_edge.m_bShortcut = false;
    EXPECT_EQ(Create(), 0u);
    EXPECT_EQ(m_edge.m_vecCalls, (kUntilIcon + Calls{kWrite, kErrorDot, "code 5"}));
}

TEST_F(AppShortcut, ThePictureGetsTheExtensionOfItsBytesAfterItsOwnName) {
    m_info.imageUrl = "http://pictures.invalid/a.jpg";
    m_info.shortcutName = "photo.jpg";
    EXPECT_EQ(Create(), 0u);
    EXPECT_EQ(m_edge.m_vecCalls[3], "rename C:\\cache\\photo.jpg to C:\\cache\\photo.jpg.png");
    EXPECT_EQ(m_edge.m_vecCalls[5], "icon of C:\\cache\\photo.jpg.png as C:\\cache\\photo.jpg.ico");
    m_edge.m_vecCalls.clear();
    m_edge.m_format = ImageFormatJpeg;
    EXPECT_EQ(Create(), 0u);
    EXPECT_EQ(m_edge.m_vecCalls[3], "rename C:\\cache\\photo.jpg to C:\\cache\\photo.jpg.jpg");
}

TEST_F(AppShortcut, WithoutAPictureOrANameNothingIsDoneAndNothingTold) {
    EXPECT_EQ(CreateAppShortcut(nullptr, m_edge), kBrokenOff);
    m_info.imageUrl.clear();
    EXPECT_EQ(Create(), kBrokenOff);
    m_info.imageUrl = "http://pictures.invalid/a.png";
    m_info.shortcutName.clear();
    EXPECT_EQ(Create(), kBrokenOff);
    EXPECT_EQ(m_edge.m_vecCalls, Calls());
    EXPECT_EQ(m_log.Count("CreateAppShortcut begin"), 3u) << m_log.All();
}

}  // namespace
