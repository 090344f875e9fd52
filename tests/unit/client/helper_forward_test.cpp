#include "client/helper_forward.h"

#include <thread>

#include <gtest/gtest.h>

#include "client/host_pipe.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/raw_pipe.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::uint32_t kLongMs = 20000;

class HelperForward : public ::testing::Test {
  protected:
    const std::wstring m_strMark = UniqueName(L"forward");
    CRawPipe m_host = CRawPipe::Serve(HostPipeName(m_strMark), 1);
    StartedProcess m_process;
};

TEST_F(HelperForward, HelperOfThisSessionGetsTheCommandLine) {
    ASSERT_NE(OwnSession(), kNoSession);
    CallerResult result = CallerResult::Timeout;
    std::thread caller([&] { result = ForwardCommandLine(m_strMark, L"/from:x", CDeadline(kLongMs), m_process); });
    EXPECT_TRUE(m_host.WaitForClient());
    EXPECT_EQ(m_host.ReadFrame(), R"({"content":"/from:x","message_type":1})");
    EXPECT_TRUE(m_host.WriteFrame(kHostAcknowledgement));
    caller.join();
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
    EXPECT_EQ(m_process.dwProcessId, GetCurrentProcessId());
}

TEST_F(HelperForward, HelperOfAnotherSessionIsSentNothing) {
    EXPECT_EQ(ForwardCommandLine(m_strMark, L"/from:x", CDeadline(kLongMs), m_process, OwnSession() + 1),
              CallerResult::NotConnected);
    EXPECT_EQ(m_process.dwProcessId, 0u);
    EXPECT_EQ(m_host.ReadSome(1), "");
    EXPECT_TRUE(m_host.WaitForEnd());
}

TEST_F(HelperForward, HelperOfAnotherSessionIsNotAskedToLetGo) {
    EXPECT_EQ(ReleaseService(m_strMark, "svc", CDeadline(kLongMs), OwnSession() + 1), CallerResult::NotConnected);
    EXPECT_EQ(m_host.ReadSome(1), "");
}

TEST_F(HelperForward, HeldServiceIsAskedToBeLetGo) {
    CallerResult result = CallerResult::Timeout;
    std::thread caller([&] { result = ReleaseService(m_strMark, "svc", CDeadline(kLongMs)); });
    EXPECT_TRUE(m_host.WaitForClient());
    EXPECT_EQ(m_host.ReadFrame(), R"({"content":{"service_id":"svc"},"message_type":9})");
    caller.join();
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
}

}  // namespace
