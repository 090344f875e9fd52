#include "foundation/lock.h"

#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/system_failure.h"

namespace {

static_assert(!std::is_copy_constructible_v<CLock> && !std::is_copy_assignable_v<CLock>);
static_assert(!std::is_copy_constructible_v<CAutoLock> && !std::is_copy_assignable_v<CAutoLock>);
static_assert(std::has_virtual_destructor_v<CLock> && std::has_virtual_destructor_v<CAutoLock>);

TEST(Lock, IsReentrantOnItsOwningThread) {
    CLock lock;
    const CAutoLock outer(&lock);
    // In functions of their own, where clang does not know that it is held: its check knows no re-entrant locks.
    const auto inner = [&lock] {
        const CAutoLock guard(&lock);
        [&lock] { const CAutoLock innermost(&lock); }();
    };
    inner();
}

TEST(Lock, KeepsOtherThreadsOutUntilTheOutermostGuardIsGone) {
    CLock lock;
    int value = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 2000; ++round) {
                const CAutoLock outer(&lock);
                const int seen = value;
                [&] {
                    const CAutoLock inner(&lock);
                    value = seen + 1;
                }();
                value = seen + 2;
            }
        });
    }
    for (std::thread& one : threads) {
        one.join();
    }
    EXPECT_EQ(value, 4 * 2000 * 2);
}

TEST(Lock, ATryOfAnotherThreadHoldsItOnlyWhileItIsFree) {
    CLock lock;
    const auto triesInVain = [&lock] {
        bool bHeld = true;
        std::thread([&] { bHeld = CAutoTryLock(&lock).IsHeld(); }).join();
        return !bHeld;
    };
    EXPECT_FALSE(triesInVain());
    EXPECT_FALSE(triesInVain()) << "the first try has let go of it";
    {
        const CAutoTryLock own(&lock);
        EXPECT_TRUE(own.IsHeld());
        EXPECT_TRUE(CAutoTryLock(&lock).IsHeld()) << "it is re-entrant";
        EXPECT_TRUE(triesInVain());
    }
    EXPECT_FALSE(triesInVain());
    {
        const CAutoLock guard(&lock);
        EXPECT_TRUE(triesInVain()) << "a guard keeps it";
    }
    EXPECT_FALSE(triesInVain());
}

TEST(SystemFailure, APositiveErrorBecomesAResultAndOthersStay) {
    EXPECT_EQ(ResultFromSystemError(5), static_cast<std::int32_t>(0x80070005));
    EXPECT_EQ(ResultFromSystemError(8), static_cast<std::int32_t>(0x80070008));
    EXPECT_EQ(ResultFromSystemError(0x12345), static_cast<std::int32_t>(0x80072345)) << "cut to 16 bits";
    EXPECT_EQ(ResultFromSystemError(0), 0);
    EXPECT_EQ(ResultFromSystemError(0x80004005), static_cast<std::int32_t>(0x80004005)) << "a result already";
}

TEST(SystemFailure, CarriesTheResult) {
    try {
        RaiseSystemFailure(8);
    } catch (const CSystemFailure& failure) {
        EXPECT_EQ(failure.Result(), static_cast<std::int32_t>(0x80070008));
        return;
    }
    FAIL() << "nothing was raised";
}

TEST(SystemFailureDeathTest, EndsTheProcessWhenNothingCatchesIt) {
    EXPECT_DEATH([]() noexcept { RaiseSystemFailure(8); }(), "");
}

}  // namespace
