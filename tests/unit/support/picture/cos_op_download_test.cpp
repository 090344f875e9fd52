#include "tests/support/http_test_server.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "foundation/text_helpers.h"
#include "support/http/http_transfer.h"
#include "support/http/wininet_api.h"
#include "support/picture/cos_op.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace {

class CosOpDownload : public testing::Test {
  protected:
    ~CosOpDownload() override { g_nHttpTimeoutMs = kHttpTimeoutUnset; }

    bool Download(const std::wstring& url) { return CosOp::DownLoadFile(url, m_cache.wstring(), L"图片.png"); }
    std::filesystem::path Target() const { return m_cache / L"图片.png"; }
    std::filesystem::path Temporary() const { return Target().wstring() + L".write_cache"; }
    void WriteTarget(const std::string& text) const {
        std::filesystem::create_directories(m_cache);
        std::ofstream(Target(), std::ios::binary) << text;
    }
    std::string Contents() const {
        std::ifstream file(Target(), std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    }

    ScopedInternetProxy m_direct{0};
    CTempFolder m_folder;
    std::filesystem::path m_cache = m_folder.Path() / L"cache";
    HttpTestReply m_reply = HttpTestReply::Of(200, "body");
    HttpTestServer m_server{[this](const HttpTestRequest&) { return m_reply; }};
    LogCapture m_log;
};

TEST_F(CosOpDownload, PutsTheBodyInTheFileAndMakesTheFolder) {
    const std::string body = std::string("\0\xFF\r\n", 4) + std::string(300'000, 'x');
    m_reply = HttpTestReply::Of(200, body);
    const std::wstring url = m_server.Url(L"/picture.png");
    EXPECT_TRUE(Download(url));
    EXPECT_TRUE(Contents() == body) << Contents().size() << " bytes";
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
    EXPECT_TRUE(m_log.Has("DownLoadFile strUrl :[" + Utf16ToUtf8(url) + "]")) << m_log.All();
    EXPECT_NE(m_log.Find("[CosOp::DownLoadFile("), "");
    EXPECT_TRUE(m_log.Has("HttpDownloadFile strPath :[" + Utf16ToUtf8(Target().wstring()) + "], download success"))
        << m_log.All();
    EXPECT_NE(m_log.Find("[HttpDownloadFile("), "");
}

TEST_F(CosOpDownload, LeavesTheShortTimeoutSet) {
    EXPECT_EQ(g_nHttpTimeoutMs, kHttpTimeoutUnset);
    EXPECT_TRUE(Download(m_server.Url(L"/")));
    EXPECT_EQ(g_nHttpTimeoutMs, 5000);
}

TEST_F(CosOpDownload, AnEmptyArgumentReturnsFalseAndTouchesNothing) {
    WriteTarget("earlier");
    const std::wstring url = m_server.Url(L"/");
    EXPECT_FALSE(CosOp::DownLoadFile(L"", m_cache.wstring(), L"图片.png"));
    EXPECT_FALSE(CosOp::DownLoadFile(url, L"", L"图片.png"));
    EXPECT_FALSE(CosOp::DownLoadFile(url, m_cache.wstring(), L""));
    EXPECT_FALSE(CosOp::DownLoadFile(url, (m_folder.Path() / L"other").wstring(), L""));
    EXPECT_EQ(Contents(), "earlier");
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / L"other"));
    EXPECT_TRUE(m_server.Requests().empty());
    EXPECT_EQ(g_nHttpTimeoutMs, kHttpTimeoutUnset);
}

TEST_F(CosOpDownload, AnAnswerOf404LeavesNoFileNotEvenAnEarlierOne) {
    WriteTarget("earlier");
    m_reply = HttpTestReply::Of(404, "not here");
    EXPECT_FALSE(Download(m_server.Url(L"/")));
    EXPECT_FALSE(std::filesystem::exists(Target()));
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(CosOpDownload, AReadOnlyFileOfBeforeDoesNotSurviveAFailedDownload) {
    WriteTarget("earlier");
    ASSERT_TRUE(SetFileAttributesW(Target().c_str(), FILE_ATTRIBUTE_READONLY));
    m_reply = HttpTestReply::Of(404, "not here");
    EXPECT_FALSE(Download(m_server.Url(L"/")));
    EXPECT_FALSE(std::filesystem::exists(Target()));
}

TEST_F(CosOpDownload, ANameThatIsADevicesIsADownloadThatFailed) {
    for (const wchar_t* name : {L"NUL", L"nul.png", L"COM1", L"AUX .png", L"x\\PRN"}) {
        EXPECT_FALSE(CosOp::DownLoadFile(m_server.Url(L"/"), m_cache.wstring(), name));
        EXPECT_TRUE(m_log.Has("HttpDownloadFile strPath :[" + Utf16ToUtf8(m_cache.wstring() + L"\\" + name) +
                              "], download failed"))
            << m_log.All();
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_cache));
}

TEST_F(CosOpDownload, AnEmptyBodyIsNotAFile) {
    m_reply = HttpTestReply::Of(200);
    EXPECT_FALSE(Download(m_server.Url(L"/")));
    EXPECT_FALSE(std::filesystem::exists(Target()));
}

TEST_F(CosOpDownload, AServerThatIsNotThereLeavesNoFile) {
    WriteTarget("earlier");
    EXPECT_FALSE(Download(L"ftp://127.0.0.1/picture.png"));
    EXPECT_FALSE(std::filesystem::exists(Target()));
}

TEST_F(CosOpDownload, ABodyThatBreaksOffLeavesNoFile) {
    WriteTarget("earlier");
    WinInetApi api = *GetWinInetApi();
    api.ReadFile = [](HINTERNET, void*, DWORD, DWORD*) -> BOOL {
        SetLastError(WSAECONNRESET);
        return FALSE;
    };
    OverrideWinInetApi(&api);
    EXPECT_FALSE(Download(m_server.Url(L"/")));
    OverrideWinInetApi(nullptr);
    EXPECT_FALSE(std::filesystem::exists(Target()));
    EXPECT_FALSE(std::filesystem::exists(Temporary()));
}

TEST_F(CosOpDownload, OnlyTheLastLevelOfTheFolderIsMade) {
    m_cache = m_folder.Path() / L"one" / L"two";
    EXPECT_FALSE(Download(m_server.Url(L"/")));
    EXPECT_FALSE(std::filesystem::exists(m_folder.Path() / L"one"));
    EXPECT_TRUE(m_log.Has("HttpDownloadFile strPath :[" + Utf16ToUtf8(Target().wstring()) + "], download failed"))
        << m_log.All();
}

TEST_F(CosOpDownload, AnEarlierFileIsReplaced) {
    WriteTarget("an earlier and longer file");
    EXPECT_TRUE(Download(m_server.Url(L"/")));
    EXPECT_EQ(Contents(), "body");
}

TEST_F(CosOpDownload, TheCallbackRefusesWhatItCannotWriteWithoutAWord) {
    std::wstring path = Target().wstring();
    std::filesystem::create_directories(m_cache);
    EXPECT_EQ(HttpDownloadFile(200, "body", 0, path.data()), 1u);
    EXPECT_EQ(HttpDownloadFile(200, nullptr, 4, path.data()), 1u);
    EXPECT_EQ(HttpDownloadFile(200, "body", 4, nullptr), 1u);
    std::wstring empty;
    EXPECT_EQ(HttpDownloadFile(200, "body", 4, empty.data()), 1u);
    EXPECT_EQ(m_log.All(), "");
    EXPECT_FALSE(std::filesystem::exists(Target()));
    EXPECT_EQ(HttpDownloadFile(500, "body", 4, path.data()), 0u) << "the status is not looked at";
    EXPECT_EQ(Contents(), "body");
}

}  // namespace
