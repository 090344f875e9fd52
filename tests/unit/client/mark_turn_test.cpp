#include "client/mark_turn.h"

#include <thread>

#include <gtest/gtest.h>

#include "foundation/handle.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::uint32_t kLongMs = 20000;

class MarkTurn : public ::testing::Test {
  protected:
    const std::wstring m_strMark = UniqueName(L"markturn");
    std::atomic<bool> m_bClosed{false};
};

TEST_F(MarkTurn, OneMarkIsStartedByOneAtATime) {
    const CMarkTurn first(m_strMark, CDeadline(0), m_bClosed);
    EXPECT_EQ(first.Result(), CallerResult::Ok);
    const CMarkTurn second(m_strMark, CDeadline(0), m_bClosed);
    EXPECT_EQ(second.Result(), CallerResult::Timeout);
    const CMarkTurn other(m_strMark + L"x", CDeadline(0), m_bClosed);
    EXPECT_EQ(other.Result(), CallerResult::Ok);
}

TEST_F(MarkTurn, TheNextOneGoesOnWhenTheFirstIsDone) {
    auto first = std::make_unique<CMarkTurn>(m_strMark, CDeadline(0), m_bClosed);
    CallerResult result = CallerResult::Timeout;
    std::thread waiter([&] { result = CMarkTurn(m_strMark, CDeadline(kLongMs), m_bClosed).Result(); });
    first.reset();
    waiter.join();
    EXPECT_EQ(result, CallerResult::Ok);
}

TEST_F(MarkTurn, AClosedClientWaitsForNobody) {
    const CMarkTurn first(m_strMark, CDeadline(0), m_bClosed);
    std::atomic<bool> closed{false};
    CallerResult result = CallerResult::Ok;
    const CKernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread waiter([&] {
        result = CMarkTurn(m_strMark, CDeadline(4 * kLongMs), closed).Result();
        SetEvent(done.get());
    });
    closed = true;
    CMarkTurn::Wake();
    EXPECT_EQ(WaitForSingleObject(done.get(), kLongMs), WAIT_OBJECT_0) << "it waits for its limit";
    waiter.join();
    EXPECT_EQ(result, CallerResult::Closed);
}

}  // namespace
