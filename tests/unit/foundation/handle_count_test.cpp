// The count on which the tests of leaks rely.
#include "tests/support/handle_count.h"

#include <vector>

#include <gtest/gtest.h>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"

namespace {

TEST(HandleCount, GrowsByEveryHandleOpenedAndFallsByEveryHandleClosed) {
    const std::size_t before = OwnHandleCount();
    ASSERT_NE(before, 0u);
    std::vector<CKernelHandle> events;
    for (int i = 0; i < 50; ++i) {
        events.emplace_back(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr));
    }
    EXPECT_EQ(OwnHandleCount(), before + 50);
    events.clear();
    EXPECT_EQ(OwnHandleCount(), before);
}

TEST(HandleCount, SeesAHandleAfterManyClosedOnes) {
    const std::size_t before = OwnHandleCount();
    std::vector<CKernelHandle> events;
    for (int i = 0; i < 500; ++i) {
        events.emplace_back(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr));
    }
    events.erase(events.begin(), events.end() - 1);
    EXPECT_EQ(OwnHandleCount(), before + 1);
}

}  // namespace
