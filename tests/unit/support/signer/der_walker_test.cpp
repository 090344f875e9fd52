#include "support/signer/der_walker.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "support/signer/der_cursor.h"
#include "tests/unit/support/signer/der_builder.h"

namespace {

using der::Bytes;
using der::Element;
using der::Indefinite;
using der::Join;

// Writes down each element as "depth:tag:length", and checks that what it is given is within the region.
class CRecorder : public IASN1ParserCallback {
  public:
    explicit CRecorder(const Bytes& region, std::function<std::uint32_t(std::uint32_t tag)> answer = nullptr)
        : m_region(region), m_answer(std::move(answer)) {}

    std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override {
        const std::uint8_t* end = m_region.data() + m_region.size();
        EXPECT_GE(elementStart, m_region.data());
        EXPECT_LE(value + length, end);
        EXPECT_EQ(elementStart + totalLength, value + length);
        EXPECT_EQ(*elementStart, tag);
        char text[40];
        snprintf(text, sizeof(text), "%u:%02x:%u ", depth, tag, length);
        m_seen += text;
        return m_answer ? m_answer(tag) : 0;
    }

    const std::string& Seen() const { return m_seen; }

  private:
    const Bytes& m_region;
    std::function<std::uint32_t(std::uint32_t)> m_answer;
    std::string m_seen;
};

struct Walk {
    std::uint32_t result;
    std::string seen;
};

Walk WalkThrough(const Bytes& region, std::function<std::uint32_t(std::uint32_t)> answer = nullptr) {
    CRecorder recorder(region, std::move(answer));
    const std::uint32_t result = Asn1Parser(region, &recorder).Parse();
    return {result, recorder.Seen()};
}

TEST(DerWalker, ReportsElementsInFileOrderWithTheirDepth) {
    const Bytes region = Join(
        {Element(0x30, {Element(0x02, Bytes{1}), Element(0x31, {Element(0x05, Bytes{})})}), Element(0x04, Bytes(200))});
    const Walk walk = WalkThrough(region);
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:7 1:02:1 1:31:2 2:05:0 0:04:200 ");
}

TEST(DerWalker, AnEmptyRegionIsFine) {
    EXPECT_EQ(WalkThrough({}).result, 0u);
}

TEST(DerWalker, LengthsOfOneAndTwoFurtherBytesAreRead) {
    EXPECT_EQ(WalkThrough(Join({{0x04, 0x81, 0x03}, Bytes(3)})).seen, "0:04:3 ");
    EXPECT_EQ(WalkThrough(Join({{0x04, 0x82, 0x01, 0x02}, Bytes(0x102)})).seen, "0:04:258 ");
    EXPECT_EQ(WalkThrough(Element(0x04, Bytes(65535))).seen, "0:04:65535 ");
}

TEST(DerWalker, FaultsHaveTheirCodes) {
    const struct {
        Bytes region;
        std::uint32_t code;
        const char* what;
    } cases[] = {
        {{0x04}, 2, "no length"},
        {{0x04, 0x83, 0x00, 0x00, 0x01, 0xAA}, 3, "a length of three bytes"},
        {{0x04, 0x84}, 3, "a length of four bytes"},
        {{0x04, 0xFF}, 3, "a reserved length"},
        {{0x04, 0x82, 0x01}, 4, "a two-byte length cut off"},
        {{0x04, 0x82}, 4, "a two-byte length missing"},
        {{0x04, 0x01}, 5, "contents missing"},
        {{0x04, 0x82, 0xFF, 0xFF, 0x00}, 5, "contents cut off"},
        {{0x04, 0x81}, 6, "a one-byte length missing"},
        {{0x30, 0x80, 0x00, 0x01, 0xAA}, 7 | 1 << 16, "the end of an indefinite element with contents"},
    };
    for (const auto& [region, code, what] : cases) {
        EXPECT_EQ(WalkThrough(region).result, code) << what;
        EXPECT_EQ(Asn1Parser(region, nullptr).Parse(), code) << "without a callback: " << what;
    }
}

TEST(DerWalker, AFaultCarriesItsDepth) {
    EXPECT_EQ(WalkThrough(Element(0x30, Element(0x30, Bytes{0x04, 0x05}))).result, 2u << 16 | 5u);
    // Indefinite elements raise the depth of the region they are in.
    EXPECT_EQ(WalkThrough({0x30, 0x80, 0x30, 0x80, 0x04}).result, 2u << 16 | 2u);
}

TEST(DerWalker, AFaultInAnInnerRegionEndsTheWholeWalk) {
    const Walk walk = WalkThrough(Join({Element(0x30, Bytes{0x04, 0x83}), Element(0x02, Bytes{1})}));
    EXPECT_EQ(walk.result, 1u << 16 | 3u);
    EXPECT_EQ(walk.seen, "0:30:2 ");
}

TEST(DerWalker, TagZeroOutsideAnIndefiniteElementEndsItsRegionOnly) {
    const Walk walk =
        WalkThrough(Join({Element(0x30, Bytes{0x00, 0x55, 0x66}), Element(0x02, Bytes{1}), {0x00, 0xFF}}));
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:3 0:02:1 ");
}

TEST(DerWalker, IndefiniteElementsGoOnInTheSameRegionUntilTheirEnd) {
    const Walk walk =
        WalkThrough(Join({Indefinite(0x30, Join({Element(0x02, Bytes{1}), Indefinite(0x31, Element(0x05, Bytes{}))})),
                          Element(0x04, Bytes{9})}));
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:0 1:02:1 1:31:0 2:05:0 2:00:0 1:00:0 0:04:1 ");
}

TEST(DerWalker, AfterTheEndOfEachIndefiniteElementATagOfZeroEndsTheRegionAgain) {
    const Bytes open = Indefinite(0x30, Indefinite(0x31, Element(0x05, Bytes{})));
    const Walk walk = WalkThrough(Join({open, {0x00, 0x55, 0x66}}));
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:0 1:31:0 2:05:0 2:00:0 1:00:0 ");
}

TEST(DerWalker, AnyPrimitiveWithTagNumberZeroClosesAnIndefiniteElement) {
    const Walk walk = WalkThrough({0x30, 0x80, 0x80, 0x00, 0x02, 0x00});
    EXPECT_EQ(walk.seen, "0:30:0 1:80:0 0:02:0 ");
}

TEST(DerWalker, AnIndefiniteElementWithoutItsEndIsNotAFault) {
    EXPECT_EQ(WalkThrough({0x30, 0x80, 0x02, 0x00}).result, 0u);
}

TEST(DerWalker, APrimitiveOfIndefiniteLengthHasNoContents) {
    const Walk walk = WalkThrough({0x04, 0x80, 0x02, 0x01, 0x05});
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:04:0 0:02:1 ");
}

TEST(DerWalker, IsNotToldToEnterWhatTheCallbackDeclines) {
    const Bytes region = Join({Element(0x30, Bytes{0x04, 0x83}), Element(0x02, Bytes{1})});
    const Walk walk = WalkThrough(region, [](std::uint32_t tag) { return tag == 0x30 ? kAsn1DoNotEnter : 0; });
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:2 0:02:1 ");
}

TEST(DerWalker, AStopWithACodeEndsTheWalkWithDepthAndCode) {
    const Bytes region = Join({Element(0x30, Element(0x02, Bytes{1})), Element(0x04, Bytes{})});
    const Walk walk = WalkThrough(region, [](std::uint32_t tag) { return tag == 0x02 ? kAsn1Stop | 0x1001 : 0; });
    EXPECT_EQ(walk.result, 1u << 16 | 0x1001u);
    EXPECT_EQ(walk.seen, "0:30:3 1:02:1 ");
}

TEST(DerWalker, AStopWithoutACodeEndsItsRegionAndTheWalkContinuesAfterIt) {
    const Bytes region =
        Join({Element(0x30, Join({Element(0x02, Bytes{1}), Element(0x05, Bytes{})})), Element(0x04, Bytes{})});
    const Walk walk = WalkThrough(region, [](std::uint32_t tag) { return tag == 0x02 ? kAsn1Stop : 0; });
    EXPECT_EQ(walk.result, 0u);
    EXPECT_EQ(walk.seen, "0:30:5 1:02:1 0:04:0 ");
}

TEST(DerWalker, NestingOfThousandsOfLevelsNeedsNoStack) {
    Bytes definite;
    while (definite.size() < 65'000) {
        const std::size_t size = definite.size();
        const Bytes header =
            size < 0x80    ? Bytes{0x30, static_cast<std::uint8_t>(size)}
            : size < 0x100 ? Bytes{0x30, 0x81, static_cast<std::uint8_t>(size)}
                           : Bytes{0x30, 0x82, static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size)};
        definite.insert(definite.begin(), header.begin(), header.end());
    }
    EXPECT_EQ(Asn1Parser(definite, nullptr).Parse(), 0u);
    Bytes indefinite;
    for (int i = 0; i < 500'000; ++i) {
        indefinite.insert(indefinite.end(), {0x30, 0x80});
    }
    EXPECT_EQ(Asn1Parser(indefinite, nullptr).Parse(), 0u);
}

TEST(DerCursor, AReadThatDoesNotFitGivesNothingAndMovesNothing) {
    const Bytes bytes = {1, 2, 3};
    CDerCursor cursor(bytes);
    EXPECT_FALSE(cursor.Take(4));
    EXPECT_FALSE(cursor.Take(static_cast<std::size_t>(-1)));
    EXPECT_FALSE(cursor.ReadBig(4));
    EXPECT_EQ(cursor.ReadBig(2), 0x0102u);
    EXPECT_FALSE(cursor.ReadBig(2));
    EXPECT_EQ(cursor.Position(), 2u);
    EXPECT_EQ(cursor.From(1, 1).size(), 2u);
    EXPECT_TRUE(cursor.From(1, 2).empty());
    EXPECT_TRUE(cursor.From(3, 0).empty());
    EXPECT_EQ(cursor.ReadByte(), 3);
    EXPECT_FALSE(cursor.ReadByte());
    EXPECT_EQ(cursor.Remaining(), 0u);
}

}  // namespace
