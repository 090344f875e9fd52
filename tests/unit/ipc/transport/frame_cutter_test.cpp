#include "ipc/transport/frame_cutter.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/transport/frame.h"

namespace {

// Keeps what is delivered: by length, and as the zero-terminated text a sink may read.
class CRecordingSink final : public IPipeConnectCallback {
  public:
    struct Delivery {
        std::int32_t length;
        std::string payload;
        std::string text;
        bool operator==(const Delivery&) const = default;
    };

    void Connected() override { ADD_FAILURE() << "the cutter calls Received alone"; }
    void Lost() override { ADD_FAILURE() << "the cutter calls Received alone"; }
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        const char* text = reinterpret_cast<const char*>(data);
        m_vecDeliveries.push_back({length, std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0), text});
        return 0;
    }

    std::vector<std::string> Payloads() const {
        std::vector<std::string> payloads;
        for (const Delivery& delivery : m_vecDeliveries) {
            payloads.push_back(delivery.payload);
        }
        return payloads;
    }

    std::vector<Delivery> m_vecDeliveries;
};

void Feed(CFrameCutter& cutter, std::string_view bytes, CRecordingSink& sink) {
    cutter.Append(bytes.data(), bytes.size());
    cutter.DispatchFrames(&sink);
}

std::string Header(std::uint32_t nType, std::uint32_t nLength) {
    unsigned char header[kFrameHeaderSize];
    WriteFrameHeader(header, nType, nLength);
    return std::string(reinterpret_cast<const char*>(header), sizeof header);
}

using Payloads = std::vector<std::string>;

TEST(FrameCutter, AHeaderInTwoReadsDeliversOnceAfterTheSecond) {
    const std::string frame = BuildFrame("hello");
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, frame.substr(0, 5), sink);
    EXPECT_FALSE(cutter.HasCompleteFrame());
    EXPECT_TRUE(sink.m_vecDeliveries.empty());
    Feed(cutter, frame.substr(5), sink);
    EXPECT_EQ(sink.Payloads(), Payloads{"hello"});
}

TEST(FrameCutter, TwoFramesInOneReadAreDeliveredInOrderEachZeroTerminated) {
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, BuildFrame("first") + BuildFrame("second"), sink);
    ASSERT_EQ(sink.Payloads(), (Payloads{"first", "second"}));
    EXPECT_EQ(sink.m_vecDeliveries[0].text, "first");
    EXPECT_EQ(sink.m_vecDeliveries[1].text, "second");
    EXPECT_EQ(cutter.Size(), 0u);
}

TEST(FrameCutter, TheByteAfterAFrameIsRestoredBeforeItIsRead) {
    // That byte is the low byte of the next frame's type, 519: were it left at 0, the type would be 512 and the frame
    // delivered.
    CFrameCutter cutter;
    CRecordingSink sink;
    const std::string second = BuildFrame("second", PIPE_FRAME_MAGIC + 7);
    Feed(cutter, BuildFrame("first") + second.substr(0, 1), sink);
    ASSERT_EQ(sink.Payloads(), Payloads{"first"});
    EXPECT_EQ(sink.m_vecDeliveries[0].text, "first");
    Feed(cutter, second.substr(1) + BuildFrame("third"), sink);
    EXPECT_EQ(sink.Payloads(), (Payloads{"first", "third"}));
}

TEST(FrameCutter, AnEmptyFrameIsDeliveredWithLengthZero) {
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, BuildFrame("") + BuildFrame("x"), sink);
    ASSERT_EQ(sink.m_vecDeliveries.size(), 2u);
    EXPECT_EQ(sink.m_vecDeliveries[0].length, 0);
    EXPECT_EQ(sink.m_vecDeliveries[0].text, "");
    EXPECT_EQ(sink.m_vecDeliveries[1].payload, "x");
}

TEST(FrameCutter, AnUnknownTypeIsSkippedAndTheFrameAfterItDelivered) {
    for (const std::uint32_t nType : {0u, 1u, 511u, 513u, 0x00020000u, 0xFFFFFFFFu}) {
        CFrameCutter cutter;
        CRecordingSink sink;
        Feed(cutter, BuildFrame("skipped", nType) + BuildFrame("", nType) + BuildFrame("seen"), sink);
        EXPECT_EQ(sink.Payloads(), Payloads{"seen"}) << "type " << nType;
    }
}

TEST(FrameCutter, ASkippedFrameIsNotBuffered) {
    CFrameCutter cutter;
    CRecordingSink sink;
    constexpr std::uint32_t kLength = 64 << 20;
    Feed(cutter, Header(7, kLength), sink);
    const std::string chunk(1024, 'x');
    for (std::uint32_t nSent = 0; nSent < kLength; nSent += 1024) {
        Feed(cutter, chunk, sink);
        ASSERT_EQ(cutter.Size(), 0u);
    }
    EXPECT_LT(cutter.Capacity(), 65536u);
    Feed(cutter, BuildFrame("after"), sink);
    EXPECT_EQ(sink.Payloads(), Payloads{"after"});
}

TEST(FrameCutter, AHugeLengthWaitsWithoutHoldingWhatComes) {
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, Header(PIPE_FRAME_MAGIC, 0xFFFFFFFFu), sink);
    const std::string chunk(1 << 20, 'x');
    for (int i = 0; i < 64; ++i) {
        Feed(cutter, chunk, sink);
        EXPECT_FALSE(cutter.HasCompleteFrame());
    }
    EXPECT_TRUE(sink.m_vecDeliveries.empty());
    EXPECT_LT(cutter.Capacity(), 16u << 20);
}

TEST(FrameCutter, TheLongestFrameEndsWithANegativeLengthAndTheNextIsDelivered) {
    CFrameCutter cutter;
    CRecordingSink sink;
    constexpr std::uint64_t kLength = 0x80000000u;  // the first that is not a positive 32-bit number
    Feed(cutter, Header(PIPE_FRAME_MAGIC, static_cast<std::uint32_t>(kLength)), sink);
    const std::string chunk(8 << 20, 'x');
    for (std::uint64_t nSent = 0; nSent < kLength; nSent += chunk.size()) {
        ASSERT_TRUE(sink.m_vecDeliveries.empty());
        Feed(cutter, chunk, sink);
    }
    ASSERT_EQ(sink.m_vecDeliveries.size(), 1u);
    EXPECT_EQ(sink.m_vecDeliveries[0].length, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(sink.m_vecDeliveries[0].text, "");
    Feed(cutter, BuildFrame("next"), sink);
    EXPECT_EQ(sink.Payloads().back(), "next");
}

TEST(FrameCutter, AHostileLengthCannotWrapIntoAWholeFrame) {
    // Length + 8 in 32 bits would be 7 and smaller: less than what is held.
    for (const std::uint32_t nLength : {0xFFFFFFF8u, 0xFFFFFFF9u, 0xFFFFFFFFu, 0x7FFFFFFFu, 0x7FFFFFF8u}) {
        CFrameCutter cutter;
        CRecordingSink sink;
        const std::string bytes = Header(PIPE_FRAME_MAGIC, nLength) + "some bytes";
        cutter.Append(bytes.data(), bytes.size());
        EXPECT_FALSE(cutter.HasCompleteFrame()) << nLength;
        cutter.DispatchFrames(&sink);
        EXPECT_FALSE(cutter.HasCompleteFrame()) << nLength;
        EXPECT_TRUE(sink.m_vecDeliveries.empty()) << nLength;
    }
}

TEST(FrameCutter, AZeroByteInThePayloadDoesNotEndTheFrame) {
    CFrameCutter cutter;
    CRecordingSink sink;
    const std::string payload("ab\0cd", 5);
    Feed(cutter, BuildFrame(payload) + BuildFrame("x"), sink);
    ASSERT_EQ(sink.Payloads(), (Payloads{payload, "x"}));
    EXPECT_EQ(sink.m_vecDeliveries[0].length, 5);
    EXPECT_EQ(sink.m_vecDeliveries[0].text, "ab");
}

TEST(FrameCutter, WithoutASinkFramesAreTakenAllTheSame) {
    CFrameCutter cutter;
    const std::string bytes = BuildFrame("one") + BuildFrame("two") + "rest";
    cutter.Append(bytes.data(), bytes.size());
    cutter.DispatchFrames(nullptr);
    EXPECT_EQ(cutter.Size(), 4u);
}

TEST(FrameCutter, AnySplitGivesTheSameDeliveries) {
    const std::string bytes = BuildFrame("first") + BuildFrame("no", 9) + BuildFrame("") +
                              BuildFrame(std::string("\0z", 2)) + BuildFrame("last");
    CRecordingSink whole;
    CFrameCutter one;
    Feed(one, bytes, whole);
    ASSERT_EQ(whole.m_vecDeliveries.size(), 4u);
    for (std::size_t first = 0; first <= bytes.size(); ++first) {
        for (std::size_t second = first; second <= bytes.size(); ++second) {
            CFrameCutter cutter;
            CRecordingSink sink;
            Feed(cutter, bytes.substr(0, first), sink);
            Feed(cutter, bytes.substr(first, second - first), sink);
            Feed(cutter, bytes.substr(second), sink);
            ASSERT_EQ(sink.m_vecDeliveries, whole.m_vecDeliveries) << "split at " << first << " and " << second;
        }
    }
}

TEST(FrameCutter, OneByteAtATimeGivesTheSameDeliveries) {
    const std::string bytes = BuildFrame("first") + BuildFrame("skipped", 3) + BuildFrame("") + BuildFrame("last");
    CFrameCutter cutter;
    CRecordingSink sink;
    for (const char byte : bytes) {
        Feed(cutter, std::string_view(&byte, 1), sink);
    }
    EXPECT_EQ(sink.Payloads(), (Payloads{"first", "", "last"}));
}

TEST(FrameCutter, AFrameOfTwentyMebibytesComesWholeAndItsMemoryIsGivenBack) {
    std::string payload(20 << 20, '\0');
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<char>('a' + i % 23);
    }
    const std::string bytes = BuildFrame(payload) + "rest";
    CFrameCutter cutter;
    CRecordingSink sink;
    for (std::size_t at = 0; at < bytes.size(); at += 1024) {
        Feed(cutter, std::string_view(bytes).substr(at, 1024), sink);
    }
    ASSERT_EQ(sink.m_vecDeliveries.size(), 1u);
    EXPECT_TRUE(sink.m_vecDeliveries[0].payload == payload);
    EXPECT_EQ(cutter.Size(), 4u);
    EXPECT_LT(cutter.Capacity(), 4096u);
}

TEST(FrameCutter, ABufferBelowTheLimitIsKept) {
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, BuildFrame(std::string(1 << 20, 'x')), sink);
    EXPECT_EQ(sink.m_vecDeliveries.size(), 1u);
    EXPECT_GE(cutter.Capacity(), std::size_t{1} << 20);
}

TEST(FrameCutter, AMillionTinyFramesInOneBufferAreTakenWithoutMovingTheRestAfterEach) {
    // Moving the rest down after each of them would be 4 TB of copying: hours, and the test's own limit ends it.
    constexpr std::size_t kFrames = 1000000;
    const std::string frame = BuildFrame("");
    std::string bytes;
    bytes.reserve(kFrames * frame.size());
    for (std::size_t i = 0; i < kFrames; ++i) {
        bytes += frame;
    }
    CFrameCutter cutter;
    CRecordingSink sink;
    Feed(cutter, bytes, sink);
    EXPECT_EQ(sink.m_vecDeliveries.size(), kFrames);
    EXPECT_EQ(cutter.Size(), 0u);
}

}  // namespace
