#include "ipc/transport/frame.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Frame, TheTextOneIsNineBytes) {
    EXPECT_EQ(BuildFrame("1"), std::string("\x00\x02\x00\x00\x01\x00\x00\x00\x31", 9));
}

TEST(Frame, AnEmptyPayloadIsAHeaderAlone) {
    EXPECT_EQ(BuildFrame(""), std::string("\x00\x02\x00\x00\x00\x00\x00\x00", 8));
}

TEST(Frame, WordsAreLittleEndian) {
    unsigned char header[kFrameHeaderSize] = {};
    WriteFrameHeader(header, 0x04030201u, 0x08070605u);
    for (unsigned char i = 0; i < kFrameHeaderSize; ++i) {
        EXPECT_EQ(header[i], i + 1) << "byte " << int{i};
    }
}

TEST(Frame, ThePayloadMayHoldAnyByte) {
    const std::string payload("a\0b\xFF", 4);
    EXPECT_EQ(BuildFrame(payload).substr(kFrameHeaderSize), payload);
}

}  // namespace
