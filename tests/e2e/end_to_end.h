// What every end-to-end test starts from: a sandbox, a mark and a service id of its own, a caller, and the real helper.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <json/value.h>

#include "client/caller.h"
#include "client/host_pipe.h"
#include "tests/e2e/library_caller.h"
#include "tests/support/helper_process.h"
#include "tests/support/message_number.h"
#include "tests/support/sandbox.h"

// Waits that must not run out: long enough for a machine with other things to do.
inline constexpr std::uint32_t kLongMs = 30000;
// The helper looks around every 10 seconds.
inline constexpr std::uint32_t kPruneMs = 10000;

Json::Value JsonOf(std::string_view text);

// Caller is CLibraryCaller, which is what callers use, or CCaller, which also sends what is not a frame.
template <typename Caller>
class CEndToEndOf : public ::testing::Test {
  protected:
    explicit CEndToEndOf(const std::wstring& mark = L"e2e");

    void SetUp() override;
    // Ends what still runs; shows the helper's log when the test has failed.
    void TearDown() override;

    // Serves a pipe for one more service of this test's mark.
    std::unique_ptr<Caller> Serve(const std::string& service);

    // Starts the helper for this test's caller, whose pipe is served by now, and waits for the ready notice. Further
    // members of start are taken over.
    void StartHelper(HelperStart start = {});
    // Starts it with an open on its command line, which it runs on its main thread, and does not wait.
    void StartHelperOnAnOpen(const std::string& p1);
    // Starts the helper's program with these arguments and no caller.
    void StartBare(const std::wstring& arguments);
    // A start as StartHelper makes it, for a caller of its own.
    HelperStart MakeStart() const;

    // Sends a request and returns the content of its reply.
    Json::Value Ask(MessageType type, Json::Value content, MessageType replyType) {
        return Ask(*m_caller, type, std::move(content), replyType);
    }
    Json::Value Ask(Caller& caller, MessageType type, Json::Value content, MessageType replyType);
    // The result word of an open, and of one poll.
    std::string Open(const std::string& p1);
    std::string Poll(const std::string& p1);
    // Polls until the word is another than "Loading".
    std::string PollUntilSettled(const std::string& p1);

    // Tells the helper that this caller leaves.
    void AskToExit(Caller& caller);
    void AskToExit() { AskToExit(*m_caller); }

    // Sends a payload that must be refused without a reply, and proves it by the reply that comes next: it is the one
    // of a request sent after it.
    void ExpectSilence(Caller& caller, std::string_view payload);
    // The helper is alive and answers this caller.
    void ExpectServed(Caller& caller);
    void ExpectServed() { ExpectServed(*m_caller); }

    // Sends an envelope on the host's own pipe. The connection lasts until LeaveHost; until then the host does not
    // hear any other client.
    void SendToHost(MessageType type, Json::Value content);
    void SendToHost(std::string_view payload);
    void LeaveHost() { m_host.Close(); }

    CHelperLog Log() const { return m_helper.Log(); }

    CSandbox m_sandbox;
    const std::wstring m_strMark;
    const std::string m_strService = "svc";
    std::unique_ptr<Caller> m_caller;
    CHelperProcess m_helper;
    CHostPipe m_host;
    int m_nTag = 0;
};

using CEndToEnd = CEndToEndOf<CLibraryCaller>;

// The content of the quickest request with a reply, type 7 with reply 13: it probes nothing, and its reply echoes tag.
Json::Value QuickRequest(const std::string& service, int tag);

// The content of a request that names a service and nothing else.
Json::Value ServiceContent(const std::string& service);

// An open of a mini-program with this task id, as the JSON of p1, and the poll that asks for it.
std::string MiniAppOpen(const std::string& taskId);
std::string MiniAppPoll(const std::string& taskId);
