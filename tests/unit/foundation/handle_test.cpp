#include "foundation/handle.h"

#include <utility>

#include <gtest/gtest.h>

namespace {

bool IsOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

CKernelHandle NewEvent() {
    return CKernelHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST(UniqueHandle, ClosesWhatItOwnsOnce) {
    HANDLE raw = nullptr;
    {
        const CKernelHandle handle = NewEvent();
        raw = handle.get();
        EXPECT_TRUE(handle.valid());
        EXPECT_TRUE(IsOpen(raw));
    }
    EXPECT_FALSE(IsOpen(raw));
}

TEST(UniqueHandle, MovingLeavesTheSourceEmpty) {
    CKernelHandle first = NewEvent();
    const HANDLE raw = first.get();
    CKernelHandle second(std::move(first));
    EXPECT_FALSE(first.valid());
    EXPECT_EQ(second.get(), raw);
    CKernelHandle third = NewEvent();
    const HANDLE replaced = third.get();
    third = std::move(second);
    EXPECT_FALSE(IsOpen(replaced));
    EXPECT_EQ(third.get(), raw);
    EXPECT_TRUE(IsOpen(raw));
}

TEST(UniqueHandle, ReleaseGivesTheHandleUp) {
    CKernelHandle handle = NewEvent();
    const HANDLE raw = handle.release();
    EXPECT_FALSE(handle.valid());
    EXPECT_TRUE(IsOpen(raw));
    CloseHandle(raw);
}

TEST(UniqueHandle, AFileHandleIsEmptyWhenItIsInvalid) {
    EXPECT_FALSE(CFileHandle().valid());
    EXPECT_FALSE(CFileHandle(INVALID_HANDLE_VALUE).valid());
    EXPECT_FALSE(CKernelHandle(nullptr).valid());
}

}  // namespace
