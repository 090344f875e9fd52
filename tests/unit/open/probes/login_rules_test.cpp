#include "open/probes/login_rules.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace {

constexpr std::uint64_t kNow = 0x01DA5C3F12345678;  // some day, with every byte set
constexpr std::uint32_t kNowSeconds = 1700000000;

LoginMark Mark(std::uint32_t state, std::uint64_t stamp) {
    LoginMark mark;
    for (std::size_t i = 0; i < 4; ++i) {
        mark[i] = static_cast<std::uint8_t>(state >> (8 * i));
    }
    for (std::size_t i = 0; i < 8; ++i) {
        mark[4 + i] = static_cast<std::uint8_t>(stamp >> (8 * i));
    }
    return mark;
}

constexpr std::uint64_t kDay = 864000000000;  // units of 100 ns

TEST(LoginMark, AMarkCountsForTwentyEightDays) {
    EXPECT_TRUE(IsLoginMarkFresh(Mark(1, kNow), kNow));
    EXPECT_TRUE(IsLoginMarkFresh(Mark(1, kNow - 27 * kDay), kNow));
    EXPECT_TRUE(IsLoginMarkFresh(Mark(1, kNow - 28 * kDay), kNow));
    EXPECT_FALSE(IsLoginMarkFresh(Mark(1, kNow - 28 * kDay - 1), kNow));
    EXPECT_FALSE(IsLoginMarkFresh(Mark(1, 0), kNow));
}

TEST(LoginMark, AnyStateButZeroCounts) {
    for (const std::uint32_t state : {1u, 2u, 0x100u, 0x01000000u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(IsLoginMarkFresh(Mark(state, kNow), kNow)) << state;
    }
    EXPECT_FALSE(IsLoginMarkFresh(Mark(0, kNow), kNow));
}

TEST(LoginMark, AStampInTheFutureDoesNotCount) {
    EXPECT_FALSE(IsLoginMarkFresh(Mark(1, kNow + 1), kNow));
    EXPECT_FALSE(IsLoginMarkFresh(Mark(1, ~0ull), kNow));
}

TEST(LoginCache, ALoginCountsForTwentyEightDays) {
    EXPECT_TRUE(IsLoginCacheFresh({kNowSeconds, 1}, kNowSeconds));
    EXPECT_TRUE(IsLoginCacheFresh({kNowSeconds - 10 * 86400, 1}, kNowSeconds));
    EXPECT_TRUE(IsLoginCacheFresh({kNowSeconds - 2419200, 1}, kNowSeconds));
    EXPECT_FALSE(IsLoginCacheFresh({kNowSeconds - 2419201, 1}, kNowSeconds));
    EXPECT_FALSE(IsLoginCacheFresh({kNowSeconds + 1, 1}, kNowSeconds));
}

TEST(LoginCache, OnlyTheStateOneCounts) {
    EXPECT_FALSE(IsLoginCacheFresh({kNowSeconds, 0}, kNowSeconds));
    EXPECT_FALSE(IsLoginCacheFresh({kNowSeconds, 2}, kNowSeconds));
    EXPECT_FALSE(IsLoginCacheFresh({}, kNowSeconds));
}

TEST(LoginCache, SecondsWrapAround) {
    EXPECT_TRUE(IsLoginCacheFresh({0xFFFFFFFF, 1}, 10));
}

TEST(InstallDir, TheTextIsCutAtItsLastBackslash) {
    EXPECT_EQ(InstallDirOf(L"C:\\a\\b\\uninstall.exe"), L"C:\\a\\b");
    EXPECT_EQ(InstallDirOf(L"C:\\a\\b\\"), L"C:\\a\\b");
    EXPECT_EQ(InstallDirOf(L"\\x"), L"");
    EXPECT_EQ(InstallDirOf(L"C:/a/uninstall.exe"), L"C:/a/uninstall.exe");
    EXPECT_EQ(InstallDirOf(L"uninstall"), L"uninstall");
    EXPECT_EQ(InstallDirOf(L""), L"");
}

TEST(InstallDir, AQuotedUninstallTextKeepsItsQuote) {
    EXPECT_EQ(InstallDirOf(L"\"C:\\a\\uninstall.exe\" /S"), L"\"C:\\a");
}

// Facts of a made-up machine; every question is written down.
class CMadeUpFacts final : public ILoginFacts {
  public:
    bool IsInstalled() override {
        m_strAsked += "installed ";
        return m_bInstalled;
    }
    bool ReadMark(LoginMark& mark) override {
        m_strAsked += "mark ";
        if (m_mark) {
            mark = *m_mark;
        }
        return m_mark.has_value();
    }
    std::uint64_t FileTimeNow() override { return kNow; }
    std::uint32_t SecondsNow() override { return kNowSeconds; }
    void GetRunState(bool& run, bool& login) override {
        EXPECT_FALSE(run);
        EXPECT_FALSE(login);
        m_strAsked += "processes ";
        run = m_bRun;
        login = m_bLogin;
    }
    LoginCache ReadCache() override {
        m_strAsked += "cache ";
        return m_cache;
    }
    void WriteCache(const LoginCache& cache) override {
        m_strAsked += "write " + std::to_string(cache.lt) + " " + std::to_string(cache.ls) + " ";
        m_cache = cache;
    }

    bool m_bInstalled = true;
    std::optional<LoginMark> m_mark;
    bool m_bRun = false;
    bool m_bLogin = false;
    LoginCache m_cache;
    std::string m_strAsked;
};

TEST(DecideLogin, WithoutAnEntryTheCacheIsClearedAndNoProcessIsLookedAt) {
    CMadeUpFacts facts;
    facts.m_bInstalled = false;
    facts.m_mark = Mark(1, kNow);
    facts.m_cache = {kNowSeconds, 1};
    const LogCapture log;
    EXPECT_FALSE(DecideLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "installed write 0 0 ");
    EXPECT_EQ(log.All(), "---CheckWxMiniProgramIntalled---- 未安装\n");
}

TEST(DecideLogin, AFreshMarkIsEnough) {
    for (const std::uint64_t age : {std::uint64_t{0}, 27 * kDay, 28 * kDay}) {
        CMadeUpFacts facts;
        facts.m_mark = Mark(1, kNow - age);
        EXPECT_TRUE(DecideLogin(facts)) << age;
        EXPECT_EQ(facts.m_strAsked, "installed mark ") << age;
    }
}

TEST(DecideLogin, AMarkThatDoesNotCountLeadsToTheProcesses) {
    for (const LoginMark& mark : {Mark(1, kNow - 28 * kDay - 1), Mark(0, kNow), Mark(1, kNow + 1)}) {
        CMadeUpFacts facts;
        facts.m_mark = mark;
        EXPECT_FALSE(DecideLogin(facts));
        EXPECT_EQ(facts.m_strAsked, "installed mark processes cache ");
    }
    CMadeUpFacts facts;
    EXPECT_FALSE(DecideLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "installed mark processes cache ");
}

TEST(DecideLogin, ARendererIsALoginAndIsRemembered) {
    CMadeUpFacts facts;
    facts.m_bRun = true;
    facts.m_bLogin = true;
    const LogCapture log;
    EXPECT_TRUE(DecideLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "installed mark processes write 1700000000 1 ");
    EXPECT_EQ(log.All(), "---CheckWxMiniProgramIntalled---- run [1], login [1]\n");
}

TEST(DecideLogin, ARunningApplicationWithoutALoginClearsTheCache) {
    CMadeUpFacts facts;
    facts.m_bRun = true;
    facts.m_cache = {kNowSeconds - 60, 1};
    const LogCapture log;
    EXPECT_FALSE(DecideLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "installed mark processes write 0 0 ");
    EXPECT_EQ(log.All(), "---CheckWxMiniProgramIntalled---- run [1], login [0]\n");
}

TEST(DecideLogin, WithoutAProcessTheCacheAnswersAndStays) {
    const auto answer = [](const LoginCache& cache) {
        CMadeUpFacts facts;
        facts.m_cache = cache;
        const bool bAnswer = DecideLogin(facts);
        EXPECT_EQ(facts.m_strAsked, "installed mark processes cache ");
        EXPECT_EQ(facts.m_cache, cache);
        return bAnswer;
    };
    EXPECT_TRUE(answer({kNowSeconds - 10 * 86400, 1}));
    EXPECT_TRUE(answer({kNowSeconds - 2419200, 1}));
    EXPECT_FALSE(answer({kNowSeconds - 2419201, 1}));
    EXPECT_FALSE(answer({kNowSeconds - 60, 0}));
    EXPECT_FALSE(answer({}));
}

// A renderer without the application does not mean a login.
TEST(DecideLogin, ARendererWithoutTheApplicationLeavesItToTheCache) {
    CMadeUpFacts facts;
    facts.m_bLogin = true;
    EXPECT_FALSE(DecideLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "installed mark processes cache ");
}

}  // namespace
