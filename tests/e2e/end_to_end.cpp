#include "tests/e2e/end_to_end.h"

#include <iostream>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/message_type.h"
#include "tests/support/log_page.h"
#include "tests/support/unique_name.h"

namespace {

constexpr DWORD kPollPauseMs = 20;

}  // namespace

Json::Value JsonOf(std::string_view text) {
    Json::Value value;
    EXPECT_TRUE(ParseJson(text, value)) << text;
    return value;
}

Json::Value ServiceContent(const std::string& service) {
    Json::Value content(Json::objectValue);
    content["service_id"] = service;
    return content;
}

Json::Value QuickRequest(const std::string& service, int tag) {
    Json::Value content = ServiceContent(service);
    content["p1"] = "{}";
    content["tag"] = tag;
    return content;
}

std::string MiniAppOpen(const std::string& taskId) {
    return R"({"type":"miniApp","appId":"wx1","appPath":"pages/index","taskId":")" + taskId + R"(","from":"e2e"})";
}

std::string MiniAppPoll(const std::string& taskId) {
    return R"({"type":"miniApp","taskId":")" + taskId + R"(","from":"e2e"})";
}

template <typename Caller>
CEndToEndOf<Caller>::CEndToEndOf(const std::wstring& mark) : m_strMark(mark == L"ml" ? mark : UniqueName(mark)) {}

template <typename Caller>
void CEndToEndOf<Caller>::SetUp() {
    ASSERT_TRUE(m_sandbox.Ready()) << "the sandbox could not be made: " << GetLastError();
    m_caller = Serve(m_strService);
}

template <typename Caller>
void CEndToEndOf<Caller>::TearDown() {
    if (m_helper.Id() != 0) {
        for (const std::string& line : m_helper.Log().Lines()) {
            EXPECT_EQ(LogLineFault(line), "");
        }
    }
    if (HasFailure() && m_helper.Id() != 0) {
        std::cerr << m_helper.Log().Tail(150);
    }
    m_helper.Kill();
}

template <typename Caller>
std::unique_ptr<Caller> CEndToEndOf<Caller>::Serve(const std::string& service) {
    auto caller = std::make_unique<Caller>(m_strMark, service);
    const CallerResult result = caller->Open();
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result) << " " << caller->SystemError();
    return caller;
}

template <typename Caller>
HelperStart CEndToEndOf<Caller>::MakeStart() const {
    HelperStart start;
    start.strExe = m_sandbox.Exe();
    start.strChannel = MakeChannelText(m_strMark, "e2e-mid", 7, "product", "from");
    return start;
}

template <typename Caller>
void CEndToEndOf<Caller>::StartHelper(HelperStart start) {
    start.strExe = m_sandbox.Exe();
    if (start.strChannel.empty()) {
        start.strChannel = MakeStart().strChannel;
    }
    CallerResult started = m_caller->StartHelper(start);
    if (started == CallerResult::NotStarted && m_caller->SystemError() == ERROR_INTERNAL_ERROR) {
        // Wine's own word for a process that did not come up in time on a machine out of breath.
        started = m_caller->StartHelper(start);
    }
    ASSERT_EQ(started, CallerResult::Ok) << m_caller->SystemError();
    ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId())) << GetLastError();
    ReceivedFrame notice;
    const CallerResult result = m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice);
    ASSERT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
    EXPECT_EQ(notice.strPayload, R"({"content":{"p1":"1"},"message_type":12})");
}

template <typename Caller>
void CEndToEndOf<Caller>::StartHelperOnAnOpen(const std::string& p1) {
    Json::Value content = ServiceContent(m_strService);
    content["p1"] = JsonOf(p1);
    HelperStart start = MakeStart();
    start.strType = L"6";
    start.strParam = WriteEnvelope(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), content);
    ASSERT_EQ(m_caller->StartHelper(start), CallerResult::Ok);
    ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId()));
}

template <typename Caller>
void CEndToEndOf<Caller>::StartBare(const std::wstring& arguments) {
    ASSERT_TRUE(m_helper.Start(m_sandbox.Exe(), arguments)) << GetLastError();
}

template <typename Caller>
Json::Value CEndToEndOf<Caller>::Ask(Caller& caller, MessageType type, Json::Value content, MessageType replyType) {
    CallerResult result = caller.Send(Number(type), std::move(content), kLongMs);
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
    ReceivedFrame reply;
    if (result == CallerResult::Ok) {
        result = caller.WaitForFrame(Number(replyType), kLongMs, reply);
        EXPECT_EQ(result, CallerResult::Ok) << "type " << Number(type) << ": " << DescribeCallerResult(result);
    }
    return result == CallerResult::Ok ? reply.content : Json::Value(Json::objectValue);
}

template <typename Caller>
std::string CEndToEndOf<Caller>::Open(const std::string& p1) {
    Json::Value content = ServiceContent(m_strService);
    content["p1"] = JsonOf(p1);
    return Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, std::move(content),
               MessageType::S_MT_OpenMiniAppReply)["result"]
        .asString();
}

template <typename Caller>
std::string CEndToEndOf<Caller>::Poll(const std::string& p1) {
    Json::Value content(Json::objectValue);
    content["p1"] = p1;
    return Ask(MessageType::S_MT_OpenMiniAppSuccessfully, std::move(content), MessageType::S_MT_StatusReply)["result"]
        .asString();
}

template <typename Caller>
std::string CEndToEndOf<Caller>::PollUntilSettled(const std::string& p1) {
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        const std::string word = Poll(p1);
        if (word != "Loading" || GetTickCount64() - startedAt >= kLongMs) {
            return word;
        }
        Sleep(kPollPauseMs);
    }
}

template <typename Caller>
void CEndToEndOf<Caller>::ExpectServed(Caller& caller) {
    const CallerResult sent = caller.Send(Number(MessageType::S_MT_OpenMiniAppSuccessfully),
                                          QuickRequest(caller.ServiceId(), ++m_nTag), kLongMs);
    EXPECT_EQ(sent, CallerResult::Ok) << DescribeCallerResult(sent);
    ReceivedFrame reply;
    const CallerResult result = caller.WaitForFrame(0, kLongMs, reply);
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
    EXPECT_EQ(reply.nType, Number(MessageType::S_MT_StatusReply)) << reply.strPayload;
    EXPECT_EQ(reply.content["tag"].asInt(), m_nTag) << reply.strPayload;
}

template <typename Caller>
void CEndToEndOf<Caller>::AskToExit(Caller& caller) {
    const CallerResult result =
        caller.Send(Number(MessageType::S_MT_ExitExeProcess), ServiceContent(caller.ServiceId()), kLongMs);
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
}

template <typename Caller>
void CEndToEndOf<Caller>::ExpectSilence(Caller& caller, std::string_view payload) {
    const CallerResult sent = caller.SendPayload(payload, kLongMs);
    EXPECT_EQ(sent, CallerResult::Ok) << DescribeCallerResult(sent);
    ExpectServed(caller);
}

template <typename Caller>
void CEndToEndOf<Caller>::SendToHost(MessageType type, Json::Value content) {
    SendToHost(WriteEnvelope(Number(type), std::move(content)));
}

template <typename Caller>
void CEndToEndOf<Caller>::SendToHost(std::string_view payload) {
    if (!m_host.IsConnected()) {
        DWORD systemError = 0;
        ASSERT_EQ(m_host.Connect(m_strMark, kLongMs, systemError), CallerResult::Ok) << systemError;
    }
    ASSERT_EQ(m_host.SendPayload(payload, kLongMs), CallerResult::Ok);
}

template class CEndToEndOf<CLibraryCaller>;
template class CEndToEndOf<CCaller>;
