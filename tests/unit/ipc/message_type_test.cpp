#include "ipc/message_type.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(MessageType, NumbersHaveTheirNamesAndTheUnusedOnesNone) {
    EXPECT_STREQ(MessageTypeName(1), "S_MT_InitWxApp");
    EXPECT_STREQ(MessageTypeName(6), "WM_COPY_DATA_MSG_IPC_GET_OPEN");
    EXPECT_STREQ(MessageTypeName(9), "S_MT_ExitExeProcess");
    EXPECT_STREQ(MessageTypeName(12), "S_MT_InitReply");
    EXPECT_STREQ(MessageTypeName(17), "S_MT_OpenMiniAppReply");
    for (const int type : {-1, 0, 10, 11, 18}) {
        EXPECT_STREQ(MessageTypeName(type), "unknown") << type;
    }
}

}  // namespace
