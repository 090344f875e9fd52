#include "support/response_headers.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Headers = std::multimap<std::string, std::string>;

// Answers as the platform does: an index of its own for each name, and the room needed when there is too little.
struct FakeResponse {
    std::vector<std::pair<std::string, std::string>> headers;

    HeaderAnswer operator()(char* buffer, std::uint32_t& size, std::uint32_t& index) {
        const std::string name(buffer);
        std::uint32_t position = 0;
        for (const auto& [key, value] : headers) {
            if (key != name || position++ != index) {
                continue;
            }
            ++index;
            if (value.size() + 1 > size) {
                size = static_cast<std::uint32_t>(value.size() + 1);
                return HeaderAnswer::TooSmall;
            }
            std::memcpy(buffer, value.c_str(), value.size() + 1);
            size = static_cast<std::uint32_t>(value.size());
            return HeaderAnswer::Found;
        }
        return HeaderAnswer::Failed;
    }
};

TEST(ResponseHeaders, ARepeatedHeaderKeepsAllItsValuesInOrder) {
    FakeResponse response{{{"A", "long first"}, {"B", "b"}, {"A", "2"}, {"A", "third"}}};
    EXPECT_EQ(CaptureHeaders({"A", "B"}, std::ref(response)),
              (Headers{{"A", "long first"}, {"A", "2"}, {"A", "third"}, {"B", "b"}}));
}

TEST(ResponseHeaders, AMissingHeaderIsLeftOut) {
    FakeResponse response{{{"A", "1"}}};
    EXPECT_EQ(CaptureHeaders({"A", "None"}, std::ref(response)), (Headers{{"A", "1"}}));
}

TEST(ResponseHeaders, AnEmptyValueIsAValue) {
    FakeResponse response{{{"A", ""}}};
    EXPECT_EQ(CaptureHeaders({"A"}, std::ref(response)), (Headers{{"A", ""}}));
}

TEST(ResponseHeaders, AValueBeyondTheFirstRoomIsAskedForAgain) {
    const std::string value(600, 'v');
    FakeResponse response{{{"A", value}, {"A", "next"}}};
    EXPECT_EQ(CaptureHeaders({"A"}, std::ref(response)), (Headers{{"A", value}, {"A", "next"}}));
}

TEST(ResponseHeaders, AValueIsCutAfter4096Bytes) {
    const std::string value(5000, 'v');
    FakeResponse response{{{"A", value}}};
    EXPECT_EQ(CaptureHeaders({"A"}, std::ref(response)), (Headers{{"A", value.substr(0, 4096)}}));
}

TEST(ResponseHeaders, ANameBeyond520BytesIsAskedForByItsFirst520) {
    const std::string name(600, 'n');
    FakeResponse response{{{name.substr(0, 520), "v"}}};
    EXPECT_EQ(CaptureHeaders({name}, std::ref(response)), (Headers{{name, "v"}}));
}

TEST(ResponseHeaders, AnIndexThatStandsStillEndsTheName) {
    int questions = 0;
    const Headers headers = CaptureHeaders({"A"}, [&](char* buffer, std::uint32_t&, std::uint32_t&) {
        ++questions;
        std::strcpy(buffer, "same");
        return HeaderAnswer::Found;
    });
    EXPECT_EQ(headers, (Headers{{"A", "same"}}));
    EXPECT_EQ(questions, 1);
}

TEST(ResponseHeaders, TheMarkOfNoFurtherHeaderEndsTheName) {
    int questions = 0;
    CaptureHeaders({"A"}, [&](char* buffer, std::uint32_t&, std::uint32_t& index) {
        ++questions;
        std::strcpy(buffer, "v");
        index = questions < 3 ? index + 1 : 12150;
        return HeaderAnswer::Found;
    });
    EXPECT_EQ(questions, 3);
}

TEST(ResponseHeaders, ARoomThatIsNeverEnoughEndsTheName) {
    int questions = 0;
    const Headers headers = CaptureHeaders({"A"}, [&](char*, std::uint32_t& size, std::uint32_t&) {
        ++questions;
        size += 100;
        return HeaderAnswer::TooSmall;
    });
    EXPECT_TRUE(headers.empty());
    EXPECT_EQ(questions, 2);
}

TEST(ResponseHeaders, ARoomBeyondReasonIsNotAllocated) {
    int questions = 0;
    const Headers headers = CaptureHeaders({"A"}, [&](char*, std::uint32_t& size, std::uint32_t&) {
        ++questions;
        size = 0xFFFFFFFFu;
        return HeaderAnswer::TooSmall;
    });
    EXPECT_TRUE(headers.empty());
    EXPECT_EQ(questions, 1);
}

}  // namespace
