#include "host/request_rules.h"
#include "tests/support/json_of.h"

#include <gtest/gtest.h>

namespace {

struct RuleCase {
    MessageType type;
    bool bReArmsExitTimer;
    bool bStartsStatusTimer;
    bool bNeedsP1;
};

TEST(RequestRulesTest, EachRequestHasItsTimerSteps) {
    const RuleCase cases[] = {
        {MessageType::S_MT_GetWxAppStatus, true, true, false},
        {MessageType::S_MT_GetWxAppStatusEncrypt, true, true, false},
        {MessageType::S_MT_GetWxAppQIMEI, false, false, false},
        {MessageType::S_MT_GetRSAEncrypt, false, false, false},
        {MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, true, false, false},
        {MessageType::S_MT_OpenMiniAppSuccessfully, true, false, false},
        {MessageType::S_MT_DelayCheckWndStatus, false, false, true},
        {MessageType::S_MT_ExitExeProcess, false, false, false},
    };
    for (const RuleCase& one : cases) {
        const RequestRules rules = RulesOfRequest(one.type);
        EXPECT_EQ(rules.bReArmsExitTimer, one.bReArmsExitTimer) << static_cast<int>(one.type);
        EXPECT_EQ(rules.bStartsStatusTimer, one.bStartsStatusTimer) << static_cast<int>(one.type);
        EXPECT_EQ(rules.bNeedsP1, one.bNeedsP1) << static_cast<int>(one.type);
    }
}

TEST(RequestRulesTest, StartDispatchesTheRequestsButNotTheExit) {
    for (int type = -1; type <= 20; ++type) {
        EXPECT_EQ(IsDispatchedAtStart(type), type >= 2 && type <= 8) << type;
    }
}

TEST(RequestRulesTest, CommandLineCarriesARequestWhenItsTypeIsDispatched) {
    for (const wchar_t* line : {L"/from:m /type:2", L"/type:8 /service_id:s", L"/type:\"6\"", L"/type:7x"}) {
        EXPECT_TRUE(CarriesRequest(line)) << line;
    }
    for (const wchar_t* line :
         {L"", L"/from:m", L"/type:1", L"/type:9", L"/type:", L"/type:abc", L"/type:99999999999", L"/param:e30="}) {
        EXPECT_FALSE(CarriesRequest(line)) << line;
    }
}

TEST(RequestBodyOfHostTest, BodyThatIsNotAnObjectIsAParseError) {
    for (const char* body : {"", "{", "null", "[]", "\"x\"", "7"}) {
        std::string id = "old";
        EXPECT_EQ(ReadRequestServiceId(JsonOf(body), false, id), ContentStatus::ParseError) << body;
        EXPECT_EQ(id, "old");
    }
}

TEST(RequestBodyOfHostTest, ServiceIdMustBeAText) {
    for (const char* body : {"{}", R"({"service_id":5})", R"({"service_id":null})", R"({"service_id":["a"]})"}) {
        std::string id = "old";
        EXPECT_EQ(ReadRequestServiceId(JsonOf(body), false, id), ContentStatus::Silent) << body;
        EXPECT_EQ(id, "old");
    }
    std::string id;
    EXPECT_EQ(ReadRequestServiceId(JsonOf(R"({"service_id":"a"})"), false, id), ContentStatus::Ok);
    EXPECT_EQ(id, "a");
}

TEST(RequestBodyOfHostTest, MissingP1IsSeenBeforeAMissingServiceId) {
    std::string id;
    EXPECT_EQ(ReadRequestServiceId(JsonOf("{}"), true, id), ContentStatus::NotContainP1);
    EXPECT_EQ(ReadRequestServiceId(JsonOf(R"({"p1":null})"), true, id), ContentStatus::Silent);
    EXPECT_EQ(ReadRequestServiceId(JsonOf(R"({"p1":"","service_id":"a"})"), true, id), ContentStatus::Ok);
}

}  // namespace
