// nexlet_client.dll through its headers alone, against a stand-in for the helper.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "client/include/nexlet_client.hpp"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/message_number.h"
#include "tests/support/unique_name.h"
#include "world/helper/scripted_helper.h"

inline constexpr std::uint32_t kLongMs = 20000;

inline constexpr char kAllInstalled[] =
    R"({"mini_wx_inst":"1","mini_wx_login":"0","wx_inst":"1","wx_login":"1","yyb_inst":"0","yyb_login":"0"})";

// What the real helper says, with fixed values.
inline std::vector<std::string> Answer(const ScriptedRequest& request) {
    switch (request.nType) {
        case Number(MessageType::S_MT_GetWxAppStatus):
            return {CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", kAllInstalled)};
        case Number(MessageType::S_MT_GetWxAppStatusEncrypt):
            return {CScriptedHelper::Reply(MessageType::S_MT_StatusEncryptReply, request, "result", "envelope")};
        case Number(MessageType::S_MT_GetWxAppQIMEI): {
            Json::Value pair(Json::objectValue);
            pair["strQ32"] = "a32";
            pair["strQ36"] = "a36";
            return {CScriptedHelper::Reply(MessageType::S_MT_QIMEIReply, request, pair)};
        }
        case Number(MessageType::S_MT_GetRSAEncrypt):
            return {CScriptedHelper::Reply(MessageType::S_MT_RSAEncryptReply, request, "result",
                                           request.content["p1"].asCString())};
        case Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN):
            return {CScriptedHelper::Reply(MessageType::S_MT_OpenMiniAppReply, request, "result", "Loading")};
        case Number(MessageType::S_MT_OpenMiniAppSuccessfully):
            return {CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "1")};
        default:
            return {};
    }
}

inline std::vector<std::string> Silence(const ScriptedRequest&) {
    return {};
}

// A line of events that threads add to and a test waits for.
class CTally {
  public:
    void Add() {
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            ++m_nCount;
        }
        m_changed.notify_all();
    }
    bool WaitFor(int count) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::milliseconds(kLongMs), [&] { return m_nCount >= count; });
    }
    int Count() const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_nCount;
    }

  private:
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    int m_nCount = 0;
};

class ClientLibrary : public ::testing::Test {
  protected:
    ClientLibrary() : m_strMark(Utf16ToUtf8(UniqueName(L"clientlib"))) {}

    void Open(CNexletClient::Callbacks callbacks = {}) {
        ASSERT_EQ(m_client.Open(m_strMark, "svc", std::move(callbacks)), NEXLET_OK) << GetLastError();
    }
    void Come(CScriptedHelper::Script script = Answer) {
        ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), std::move(script)));
        ASSERT_EQ(m_client.WaitConnected(kLongMs), NEXLET_OK);
        // The notice has been taken in once it can be taken out.
        ASSERT_EQ(m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs).result, NEXLET_OK);
    }
    void OpenAndCome(CScriptedHelper::Script script = Answer) {
        Open();
        Come(std::move(script));
    }

    const std::string m_strMark;
    CTally m_gone;  // outlives the client, whose callback it counts
    CNexletClient m_client;
    CScriptedHelper m_helper;  // leaves before the client closes
};
