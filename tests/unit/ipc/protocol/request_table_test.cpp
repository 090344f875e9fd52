#include "ipc/protocol/request_table.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/json_of.h"

namespace {

TEST(RequestTable, EveryMessageTypeHasItsNameAndItsReply) {
    const struct {
        int nType;
        const char* name;
        int nReply;
    } rows[] = {
        {1, "S_MT_InitWxApp", 0},
        {2, "S_MT_GetWxAppStatus", 13},
        {3, "S_MT_GetWxAppStatusEncrypt", 14},
        {4, "S_MT_GetWxAppQIMEI", 15},
        {5, "S_MT_GetRSAEncrypt", 16},
        {6, "WM_COPY_DATA_MSG_IPC_GET_OPEN", 17},
        {7, "S_MT_OpenMiniAppSuccessfully", 13},
        {8, "S_MT_DelayCheckWndStatus", 0},
        {9, "S_MT_ExitExeProcess", 0},
        {12, "S_MT_InitReply", 0},
        {13, "S_MT_StatusReply", 0},
        {14, "S_MT_StatusEncryptReply", 0},
        {15, "S_MT_QIMEIReply", 0},
        {16, "S_MT_RSAEncryptReply", 0},
        {17, "S_MT_OpenMiniAppReply", 0},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(MessageTypeName(row.nType), row.name);
        EXPECT_EQ(ReplyTypeOf(row.nType), row.nReply) << row.name;
    }
    for (const int nType : {-2147483647 - 1, -1, 0, 10, 11, 18, 2147483647}) {
        EXPECT_STREQ(MessageTypeName(nType), "unknown") << nType;
        EXPECT_EQ(ReplyTypeOf(nType), 0) << nType;
    }
}

TEST(RequestTable, HoldsTheRequestsInTheOrderOfTheirNumbersAndNothingElse) {
    int nExpected = 1;
    for (const RequestRow& row : RequestTable()) {
        EXPECT_EQ(static_cast<int>(row.nType), nExpected++);
        EXPECT_EQ(FindRequest(static_cast<int>(row.nType)), &row);
        EXPECT_EQ(row.pHandler == nullptr, row.nType == MessageType::S_MT_InitWxApp);
    }
    EXPECT_EQ(nExpected, 10);
    for (const int nType : {-1, 0, 10, 12, 13}) {
        EXPECT_EQ(FindRequest(nType), nullptr) << nType;
    }
}

ContentStatus Check(int nType, const char* content) {
    return CheckContent(*FindRequest(nType), JsonOf(content));
}

TEST(CheckContent, WhatIsNotAnObjectIsAParseErrorForEveryRequest) {
    for (int nType = 2; nType <= 9; ++nType) {
        for (const char* content : {"null", "[]", "7", "\"text\"", "true"}) {
            EXPECT_EQ(Check(nType, content), ContentStatus::ParseError) << nType << ' ' << content;
        }
    }
}

TEST(CheckContent, StatusAndIdentityAskForNothing) {
    for (const int nType : {2, 3, 4}) {
        EXPECT_EQ(Check(nType, "{}"), ContentStatus::Ok) << nType;
    }
}

TEST(CheckContent, AP1OfAnyKindDoesForTheEnvelopeAndTheDelayedCheck) {
    for (const char* content : {R"({"p1":null})", R"({"p1":5})", R"({"p1":"x"})", R"({"p1":{}})"}) {
        EXPECT_EQ(Check(5, content), ContentStatus::Ok) << content;
        EXPECT_EQ(Check(8, content), ContentStatus::Ok) << content;
    }
    EXPECT_EQ(Check(5, R"({"text":"x"})"), ContentStatus::ParseError);
    EXPECT_EQ(Check(8, R"({"text":"x"})"), ContentStatus::NotContainP1);
}

TEST(CheckContent, APollNeedsATextUnderP1) {
    EXPECT_EQ(Check(7, R"({"p1":""})"), ContentStatus::Ok);
    for (const char* content : {"{}", R"({"p1":null})", R"({"p1":{}})", R"({"p1":1})"}) {
        EXPECT_EQ(Check(7, content), ContentStatus::NotContainP1) << content;
    }
}

TEST(CheckContent, AnOpenNeedsAServiceIdAndAnObjectOrNullUnderP1) {
    EXPECT_EQ(Check(6, R"({"service_id":"","p1":null})"), ContentStatus::Ok);
    EXPECT_EQ(Check(6, R"({"service_id":"42","p1":{}})"), ContentStatus::Ok);
    for (const char* content :
         {R"({})", R"({"p1":{}})", R"({"service_id":"42"})", R"({"service_id":42,"p1":{}})",
          R"({"service_id":null,"p1":{}})", R"({"service_id":"42","p1":"{}"})", R"({"service_id":"42","p1":[]})",
          R"({"service_id":"42","p1":1})", R"({"service_id":"42","p1":false})"}) {
        EXPECT_EQ(Check(6, content), ContentStatus::Silent) << content;
    }
}

}  // namespace
