// The daily configuration against a real server, the real registry and the real clock. The server is set as
// the proxy, so that requests for the fixed host name reach it.
#include "host/remote_config.h"

#include "tests/support/http_test_server.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <ctime>
#include <deque>
#include <optional>

#include <gtest/gtest.h>

#include "support/http/http_transfer.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\Ovrin\\zolt";

std::optional<DWORD> Stored(const wchar_t* name) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    DWORD type = 0;
    if (SHGetValueW(HKEY_CURRENT_USER, kKey, name, &type, &value, &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(size, 4u);
    return value;
}

void Store(const wchar_t* name, DWORD value) {
    ASSERT_EQ(SHSetValueW(HKEY_CURRENT_USER, kKey, name, REG_DWORD, &value, sizeof(value)), ERROR_SUCCESS);
}

std::uint32_t Now() {
    return static_cast<std::uint32_t>(std::time(nullptr));
}

// The wait between two looks: counts them, runs what the test has between them and ends the thread after the last.
struct Rounds {
    int nLeft = 1;
    int nWaits = 0;
    DWORD nMilliseconds = 0;
    bool bTimerQuiet = true;
    std::function<void()> between;
};
Rounds g_rounds;

bool NextRound(HANDLE timer, DWORD milliseconds) {
    ++g_rounds.nWaits;
    g_rounds.nMilliseconds = milliseconds;
    g_rounds.bTimerQuiet = g_rounds.bTimerQuiet && WaitForSingleObject(timer, 0) == WAIT_TIMEOUT;
    if (--g_rounds.nLeft <= 0) {
        return false;
    }
    if (g_rounds.between) {
        g_rounds.between();
    }
    return true;
}

class RemoteConfigTest : public testing::Test {
  protected:
    RemoteConfigTest() {
        g_rounds = {};
        Forget();
    }
    ~RemoteConfigTest() override {
        Forget();
        g_nHttpTimeoutMs.store(kHttpTimeoutUnset);
    }

    static void Forget() {
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"last_info_time");
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"app_shortcut_create");
    }

    // Runs the thread's procedure for this many looks.
    static void Look(int rounds = 1) {
        g_rounds.nLeft = rounds;
        int host = 0;
        EXPECT_EQ(ConfInfoThreadFunc(&host, &NextRound), 0u);
    }

    std::deque<HttpTestReply> m_replies;
    LogCapture m_log;
    HttpTestServer m_server{[this](const HttpTestRequest&) {
        if (m_replies.empty()) {
            return HttpTestReply::Of(200, R"({"appShortcut":{"create":1}})");
        }
        const HttpTestReply reply = m_replies.front();
        m_replies.pop_front();
        return reply;
    }};
    ScopedInternetProxy m_setting{m_server.Port()};
};

TEST_F(RemoteConfigTest, ANullHostEndsTheThreadAfterItsBeginLine) {
    EXPECT_EQ(ConfInfoThreadFunc(nullptr), 0u);
    EXPECT_EQ(m_log.Lines().size(), 1u) << m_log.All();
    EXPECT_TRUE(m_log.Has("ConfInfoThreadFunc begin")) << m_log.All();
    EXPECT_TRUE(m_server.Requests().empty());
}

TEST_F(RemoteConfigTest, NothingStoredFetchesAtOnceAndStoresSwitchAndTime) {
    const std::uint32_t before = Now();
    Look();
    ASSERT_EQ(m_server.Requests().size(), 1u);
    const HttpTestRequest request = m_server.Requests()[0];
    EXPECT_EQ(request.strMethod, "GET");
    EXPECT_TRUE(request.strTarget.starts_with("http://")) << request.strTarget;
    EXPECT_TRUE(request.strTarget.ends_with("/wxzolt/info.txt")) << request.strTarget;
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
    ASSERT_TRUE(Stored(L"last_info_time"));
    EXPECT_GE(*Stored(L"last_info_time"), before);
    EXPECT_LE(*Stored(L"last_info_time"), Now());
    for (const char* line : {"ConfInfoThreadFunc begin", "IReceived text chunk, size:  28", "HttpContextText success",
                             R"(strData: {"appShortcut":{"create":1}})", "appShortcut create [1]"}) {
        EXPECT_EQ(m_log.Count(line), 1u) << line << "\n" << m_log.All();
    }
    EXPECT_NE(m_log.Find("[ParseInfo("), "") << m_log.All();
    EXPECT_NE(m_log.Find("[HttpContextText("), "") << m_log.All();
}

TEST_F(RemoteConfigTest, TheThreadWaitsThreeHoursOnATimerThatNothingSignals) {
    Look(3);
    EXPECT_EQ(g_rounds.nWaits, 3);
    EXPECT_EQ(g_rounds.nMilliseconds, 10800000u);
    EXPECT_TRUE(g_rounds.bTimerQuiet);
}

TEST_F(RemoteConfigTest, AFetchedFileIsNotFetchedAgainAtTheNextLooks) {
    Look(4);
    EXPECT_EQ(m_server.Requests().size(), 1u);
}

TEST_F(RemoteConfigTest, AStoredTimeOfLessThanADayFetchesNothing) {
    // The exact second is the rule's test; here the clock runs.
    const std::uint32_t stored = Now() - 86400 + 600;
    Store(L"last_info_time", stored);
    Look();
    EXPECT_TRUE(m_server.Requests().empty());
    EXPECT_EQ(Stored(L"last_info_time"), stored);
    EXPECT_EQ(Stored(L"app_shortcut_create"), std::nullopt);
    EXPECT_EQ(g_nHttpTimeoutMs.load(), 60000);
    EXPECT_EQ(m_log.Lines().size(), 1u) << m_log.All();
}

TEST_F(RemoteConfigTest, AStoredTimeOfMoreThanADayFetches) {
    Store(L"last_info_time", Now() - 86401);
    Look();
    EXPECT_EQ(m_server.Requests().size(), 1u);
    EXPECT_GE(*Stored(L"last_info_time") + 60, Now());
}

TEST_F(RemoteConfigTest, AStoredTimeInTheFutureFetches) {
    Store(L"last_info_time", Now() + 1000000);
    Look();
    EXPECT_EQ(m_server.Requests().size(), 1u);
    EXPECT_LE(*Stored(L"last_info_time"), Now());
}

TEST_F(RemoteConfigTest, AnotherWriterOfTheStoredTimeIsNotReadAgain) {
    g_rounds.between = [] { Store(L"last_info_time", 1); };
    Look(2);
    EXPECT_EQ(m_server.Requests().size(), 1u) << "the time is read once, at the start";
}

TEST_F(RemoteConfigTest, AStoredTextIsNotATime) {
    const wchar_t text[] = L"1900000000";
    ASSERT_EQ(SHSetValueW(HKEY_CURRENT_USER, kKey, L"last_info_time", REG_SZ, text, sizeof(text)), ERROR_SUCCESS);
    Look();
    EXPECT_EQ(m_server.Requests().size(), 1u);
}

TEST_F(RemoteConfigTest, InvalidJsonStoresTheTimeAndLeavesTheSwitch) {
    Store(L"app_shortcut_create", 1);
    m_replies = {HttpTestReply::Of(200, "<html>not the file</html>")};
    Look(2);
    EXPECT_EQ(m_server.Requests().size(), 1u) << "the next try is a day later";
    EXPECT_TRUE(Stored(L"last_info_time"));
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
    EXPECT_TRUE(m_log.Has("HttpContextText success")) << m_log.All();
    EXPECT_TRUE(m_log.Has("parse error")) << m_log.All();
}

TEST_F(RemoteConfigTest, AMissingFileStoresNothingAndIsAskedForAtTheNextLook) {
    m_replies = {HttpTestReply::Of(404, "none")};
    g_rounds.between = [] { EXPECT_EQ(Stored(L"last_info_time"), std::nullopt); };
    Look(2);
    EXPECT_EQ(m_server.Requests().size(), 2u);
    EXPECT_EQ(m_log.Count("HttpContextText error"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("HttpContextText success"), 1u) << m_log.All();
    EXPECT_TRUE(Stored(L"last_info_time"));
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
}

TEST_F(RemoteConfigTest, EveryFailureIsAnErrorLineAndALaterTry) {
    m_replies = {HttpTestReply::Of(500), HttpTestReply::Raw(""), HttpTestReply::Of(302, "", "X-No: location\r\n"),
                 HttpTestReply::Of(200, std::string(10485761, ' '))};
    Look(4);
    EXPECT_EQ(m_log.Count("HttpContextText error"), 4u) << m_log.All();
    EXPECT_EQ(Stored(L"last_info_time"), std::nullopt);
}

TEST_F(RemoteConfigTest, AnEmptyFileStoresTheTimeAndNothingElse) {
    m_replies = {HttpTestReply::Of(200)};
    Look();
    EXPECT_TRUE(Stored(L"last_info_time"));
    EXPECT_EQ(Stored(L"app_shortcut_create"), std::nullopt);
    EXPECT_TRUE(m_log.Has("strData: ")) << m_log.All();
    EXPECT_FALSE(m_log.Has("parse error")) << m_log.All();
}

TEST_F(RemoteConfigTest, TheTimeoutOfTheFetchStaysInForce) {
    ASSERT_EQ(g_nHttpTimeoutMs.load(), 60000);
    Look();
    EXPECT_EQ(g_nHttpTimeoutMs.load(), 5000);
}

TEST_F(RemoteConfigTest, TheRealThreadFetchesAtItsStart) {
    // It never ends; this process does.
    static int host = 0;
    const CKernelHandle thread(
        CreateThread(nullptr, 0, static_cast<LPTHREAD_START_ROUTINE>(&ConfInfoThreadFunc), &host, 0, nullptr));
    ASSERT_TRUE(thread);
    ASSERT_TRUE(m_server.WaitForRequests(1));
    const ULONGLONG limit = GetTickCount64() + 60000;
    while (!Stored(L"last_info_time") && GetTickCount64() < limit) {
        Sleep(5);
    }
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
    EXPECT_TRUE(Stored(L"last_info_time"));
    EXPECT_EQ(WaitForSingleObject(thread.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

// --- the switch ---

class ParseInfoTest : public RemoteConfigTest {};

TEST_F(ParseInfoTest, EmptyTextDoesNothing) {
    ParseInfo("");
    EXPECT_EQ(m_log.All(), "");
}

TEST_F(ParseInfoTest, WhatIsNotAnObjectIsAParseError) {
    int count = 0;
    for (const char* text : {"{", "[]", "1", "null", "x", " "}) {
        ParseInfo(text);
        EXPECT_EQ(m_log.Count("parse error"), static_cast<std::size_t>(++count)) << text;
    }
    EXPECT_EQ(Stored(L"app_shortcut_create"), std::nullopt);
}

TEST_F(ParseInfoTest, OneIsStoredAsOneAndAnyOtherIntegerAsZero) {
    ParseInfo(R"({"appShortcut":{"create":1}})");
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
    EXPECT_TRUE(m_log.Has("appShortcut create [1]")) << m_log.All();
    ParseInfo(R"({"appShortcut":{"create":2}})");
    EXPECT_EQ(Stored(L"app_shortcut_create"), 0u);
    EXPECT_TRUE(m_log.Has("appShortcut create [0]")) << m_log.All();
}

TEST_F(ParseInfoTest, WhatIsNotAnIntegerIsNotWritten) {
    for (const char* text : {R"({"appShortcut":{"create":"1"}})", R"({"appShortcut":{"create":1.0}})",
                             R"({"appShortcut":{}})", R"({"appShortcut":null})", R"({"appShortcut":[1]})", "{}"}) {
        ParseInfo(text);
        EXPECT_EQ(Stored(L"app_shortcut_create"), std::nullopt) << text;
    }
    EXPECT_EQ(m_log.All(), "");
}

TEST_F(ParseInfoTest, AFileWithoutTheSwitchKeepsTheStoredOne) {
    Store(L"app_shortcut_create", 1);
    ParseInfo("{}");
    EXPECT_EQ(Stored(L"app_shortcut_create"), 1u);
}

// --- the callback ---

TEST_F(RemoteConfigTest, TheCallbackAppendsExactlyTheBytesItIsGiven) {
    std::string text = "begin ";
    const char bytes[] = {'a', '\0', 'b', 'c', 'x'};
    EXPECT_EQ(HttpContextText(200, bytes, 4, &text), 0u);
    EXPECT_EQ(text, std::string("begin a\0bc", 10));
    EXPECT_TRUE(m_log.Has("IReceived text chunk, size:  4")) << m_log.All();
}

TEST_F(RemoteConfigTest, TheCallbackTellsStandardOutput) {
    std::string text;
    testing::internal::CaptureStdout();
    HttpContextText(200, "abc", 3, &text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Received text chunk, size: 3\n");
}

// The process ends without writing out what the run-time still holds.
TEST_F(RemoteConfigTest, TheLineOnStandardOutputReachesAFileAtOnce) {
    const CTempFolder folder;
    const std::filesystem::path path = folder.Path() / L"output.txt";
    const int kept = _dup(1);
    const int file = _wopen(path.c_str(), _O_CREAT | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
    ASSERT_EQ(_dup2(file, 1), 0);
    // As the run-time may have it for a file.
    ASSERT_EQ(std::setvbuf(stdout, nullptr, _IOFBF, 4096), 0);
    std::string text;
    HttpContextText(200, "abc", 3, &text);
    EXPECT_EQ(std::filesystem::file_size(path), std::string("Received text chunk, size: 3\n").size());
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    _dup2(kept, 1);
    _close(file);
    _close(kept);
}

TEST_F(RemoteConfigTest, TheCallbackReturnsAtOnceWithoutSizeOrContext) {
    std::string text;
    EXPECT_EQ(HttpContextText(404, nullptr, 0, &text), 1u);
    EXPECT_EQ(HttpContextText(200, "abc", 0, &text), 1u);
    EXPECT_EQ(HttpContextText(200, "abc", 3, nullptr), 1u);
    EXPECT_EQ(text, "");
    EXPECT_EQ(m_log.All(), "");
}

TEST_F(RemoteConfigTest, TheCallbackRefusesAnotherStatusAndAMissingBody) {
    std::string text;
    EXPECT_EQ(HttpContextText(404, "abc", 3, &text), 1u);
    EXPECT_TRUE(m_log.Has("Failed or empty response, status::  404")) << m_log.All();
    EXPECT_EQ(HttpContextText(200, nullptr, 3, &text), 1u);
    EXPECT_TRUE(m_log.Has("Failed or empty response, status::  200")) << m_log.All();
    EXPECT_EQ(text, "");
}

}  // namespace
