// The exchange in docs/protocol.md is made of whole frames that say what the lines above them say.
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/handle.h"
#include "nexctl/frame_text.h"

namespace {

struct ShownFrame {
    FrameDirection direction;
    int nType;
    std::string strName;
    std::size_t nBytes;
    std::string strBytes;
};

std::string ReadPage() {
    // The tests run in the root of the tree.
    const CFileHandle file(
        CreateFileW(L"docs\\protocol.md", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_TRUE(file) << "docs/protocol.md is not below the current directory";
    std::string text(256 * 1024, '\0');
    DWORD read = 0;
    EXPECT_NE(ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr), FALSE);
    text.resize(read);
    return text;
}

std::vector<ShownFrame> ShownFrames(const std::string& page) {
    static const std::regex kTitle("`caller (->|<-) helper`, type ([0-9]+), `([A-Za-z_0-9]+)`, ([0-9]+) bytes\\.");
    static const std::regex kRow("    [0-9a-f]{4}  ([0-9a-f ]{48})  .*");
    std::vector<ShownFrame> frames;
    for (std::size_t at = 0; at < page.size();) {
        const std::size_t end = page.find('\n', at);
        const std::string line = page.substr(at, end - at);
        std::smatch match;
        if (std::regex_search(line, match, kTitle)) {
            frames.push_back({match[1] == "->" ? FrameDirection::Sent : FrameDirection::Received,
                              std::atoi(match[2].str().c_str()),
                              match[3],
                              static_cast<std::size_t>(std::atoi(match[4].str().c_str())),
                              {}});
        } else if (!frames.empty() && std::regex_match(line, match, kRow)) {
            EXPECT_TRUE(ParseHex(match[1].str(), frames.back().strBytes)) << line;
        }
        at = end == std::string::npos ? page.size() : end + 1;
    }
    return frames;
}

TEST(ProtocolPage, ShowsWholeFramesThatAreWhatTheirTitlesSay) {
    const std::vector<ShownFrame> frames = ShownFrames(ReadPage());
    ASSERT_EQ(frames.size(), 7u);
    for (const ShownFrame& frame : frames) {
        SCOPED_TRACE(frame.strName);
        EXPECT_EQ(frame.strBytes.size(), frame.nBytes);
        std::vector<std::string> payloads;
        EXPECT_TRUE(CutFrames(frame.strBytes, payloads));
        ASSERT_EQ(payloads.size(), 1u);
        const Json::Value record = FrameRecord(frame.direction, payloads[0]);
        EXPECT_EQ(record["type"].asInt(), frame.nType);
        EXPECT_EQ(record["name"].asString(), frame.strName);
    }
}

}  // namespace
