#include "open/yyb/yyb_rules.h"

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"

namespace {

using YYB_API_CLIENT::DecideYybLogin;
using YYB_API_CLIENT::DoubleBackslashes;
using YYB_API_CLIENT::IYybLoginFacts;
using YYB_API_CLIENT::YybInitializeText;

constexpr std::uint32_t kNow = 1700000000;

class CMadeUpFacts final : public IYybLoginFacts {
  public:
    void Prepare() override { m_strAsked += "prepare;"; }
    std::uint32_t SecondsNow() override {
        m_strAsked += "now;";
        return kNow;
    }
    bool CheckPcyyb() override {
        m_strAsked += "present;";
        return m_bPresent;
    }
    bool IsRunning() override {
        m_strAsked += "run;";
        return m_bRun;
    }
    bool HasAppletLaunchSuccess() override {
        m_strAsked += "login;";
        return m_bLogin;
    }
    LoginCache ReadCache() override {
        m_strAsked += "read;";
        return m_cache;
    }
    void WriteCache(const LoginCache& cache) override {
        m_strAsked += "write;";
        m_cache = cache;
    }

    bool m_bPresent = true;
    bool m_bRun = true;
    bool m_bLogin = true;
    LoginCache m_cache{kNow - 1, 1};
    std::string m_strAsked;
};

TEST(YybLogin, WithoutYybTheCacheIsClearedAndNoProcessIsLookedFor) {
    CMadeUpFacts facts;
    facts.m_bPresent = false;
    const LogCapture log;
    EXPECT_FALSE(DecideYybLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "prepare;now;present;write;");
    EXPECT_EQ(facts.m_cache, LoginCache());
    EXPECT_EQ(log.Lines(), std::vector<std::string>{"---IsYybLogined---- 未安装"});
}

TEST(YybLogin, ARunningHostWithALoginIsRemembered) {
    CMadeUpFacts facts;
    facts.m_cache = {};
    const LogCapture log;
    EXPECT_TRUE(DecideYybLogin(facts));
    EXPECT_EQ(facts.m_strAsked, "prepare;now;present;run;prepare;login;write;");
    EXPECT_EQ(facts.m_cache, (LoginCache{kNow, 1}));
    EXPECT_EQ(log.Lines(), std::vector<std::string>{"---IsYybLogined---- run [1], login [1]"});
}

TEST(YybLogin, ARunningHostWithoutALoginClearsTheCache) {
    CMadeUpFacts facts;
    facts.m_bLogin = false;
    const LogCapture log;
    EXPECT_FALSE(DecideYybLogin(facts));
    EXPECT_EQ(facts.m_cache, LoginCache());
    EXPECT_EQ(log.Lines(), std::vector<std::string>{"---IsYybLogined---- run [1], login [0]"});
}

TEST(YybLogin, AHostThatDoesNotRunIsJudgedByTheCacheForTwentyEightDays) {
    const auto login = [](const LoginCache& cache) {
        CMadeUpFacts facts;
        facts.m_bRun = false;
        facts.m_cache = cache;
        const bool bLogin = DecideYybLogin(facts);
        EXPECT_EQ(facts.m_strAsked, "prepare;now;present;run;read;");
        return bLogin;
    };
    EXPECT_TRUE(login({kNow, 1}));
    EXPECT_TRUE(login({kNow - 2419200, 1}));
    EXPECT_FALSE(login({kNow - 2419201, 1}));
    EXPECT_FALSE(login({kNow + 1, 1}));
    EXPECT_FALSE(login({kNow, 0}));
    EXPECT_FALSE(login({kNow, 2}));
    EXPECT_FALSE(login({}));
}

TEST(YybInitializeText, TheKeysStandInOrderWithTheirTypes) {
    EXPECT_EQ(YybInitializeText({4294967295u, "product", "来"}, "dir"),
              R"({"channel_id":4294967295,"download_directory":"dir","product":"product","str_source_from":"来"})");
    EXPECT_EQ(YybInitializeText({}, ""),
              R"({"channel_id":0,"download_directory":"","product":"","str_source_from":""})");
}

TEST(YybInitializeText, EachBackslashOfThePathIsWrittenFourTimes) {
    EXPECT_EQ(DoubleBackslashes("C:\\a\\b"), "C:\\\\a\\\\b");
    EXPECT_EQ(DoubleBackslashes(""), "");
    EXPECT_EQ(YybInitializeText({}, DoubleBackslashes("C:\\a\\b")),
              R"({"channel_id":0,"download_directory":"C:\\\\a\\\\b","product":"","str_source_from":""})");
}

}  // namespace
