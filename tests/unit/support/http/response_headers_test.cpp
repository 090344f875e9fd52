#include "support/http/response_headers.h"

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
    FakeResponse response{{{"A", "1"}, {"B", "b"}, {"A", "22"}, {"A", "third"}}};
    EXPECT_EQ(CaptureHeaders({"A", "B"}, std::ref(response)),
              (Headers{{"A", "1"}, {"A", "22"}, {"A", "third"}, {"B", "b"}}));
}

TEST(ResponseHeaders, AShorterValueKeepsTheEndOfTheOneBefore) {
    FakeResponse response{{{"A", "first"}, {"A", "2"}, {"A", ""}, {"B", ""}}};
    EXPECT_EQ(CaptureHeaders({"A", "B"}, std::ref(response)),
              (Headers{{"A", "first"}, {"A", "2irst"}, {"A", "2irst"}, {"B", ""}}));
}

TEST(ResponseHeaders, AValueBeyondTheFirstRoomClearsWhatWasBefore) {
    const std::string longer(700, 'l');
    const std::string shorter(600, 's');
    FakeResponse response{{{"A", longer}, {"A", shorter}, {"A", "end"}}};
    EXPECT_EQ(CaptureHeaders({"A"}, std::ref(response)),
              (Headers{{"A", longer}, {"A", shorter}, {"A", "end" + shorter.substr(3)}}));
}

TEST(ResponseHeaders, AValueOfTheFirstRoomNeedsNoSecondQuestion) {
    const std::string value(519, 'v');
    FakeResponse response{{{"A", value}}};
    int questions = 0;
    const Headers headers = CaptureHeaders({"A"}, [&](char* buffer, std::uint32_t& size, std::uint32_t& index) {
        EXPECT_EQ(size, 520u);
        ++questions;
        return response(buffer, size, index);
    });
    EXPECT_EQ(headers, (Headers{{"A", value}}));
    EXPECT_EQ(questions, 2) << "one for the value, one that finds no further";
}

// The name is handed over in room of its own length at least, with a terminator.
TEST(ResponseHeaders, ALongValuesQuestionHasRoomForTheNameToo) {
    const std::string name(520, 'n');
    int questions = 0;
    const Headers headers = CaptureHeaders({name}, [&](char* buffer, std::uint32_t& size, std::uint32_t&) {
        EXPECT_EQ(std::string(buffer), name);
        if (++questions == 1) {
            size = 30;
            return HeaderAnswer::TooSmall;
        }
        EXPECT_EQ(size, 31u);
        return HeaderAnswer::Failed;
    });
    EXPECT_TRUE(headers.empty());
    EXPECT_EQ(questions, 2);
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
    FakeResponse response{{{"A", "before"}, {"A", value}}};
    EXPECT_EQ(CaptureHeaders({"A"}, std::ref(response)), (Headers{{"A", "before"}, {"A", value}}));
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

TEST(ResponseHeaders, AnIndexThatDoesNotMoveEndsTheName) {
    int questions = 0;
    const Headers headers = CaptureHeaders({"A"}, [&](char* buffer, std::uint32_t& size, std::uint32_t&) {
        ++questions;
        std::strcpy(buffer, "same");
        size = 4;
        return HeaderAnswer::Found;
    });
    EXPECT_EQ(headers, (Headers{{"A", "same"}}));
    EXPECT_EQ(questions, 1);
}

TEST(ResponseHeaders, TheMarkOfNoFurtherHeaderEndsTheName) {
    int questions = 0;
    CaptureHeaders({"A"}, [&](char* buffer, std::uint32_t& size, std::uint32_t& index) {
        ++questions;
        std::strcpy(buffer, "v");
        size = 1;
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

// A mebibyte and more is not believed.
TEST(ResponseHeaders, ARoomBeyondReasonIsNotAllocated) {
    for (const auto& [needed, expected] :
         {std::pair(0xFFFFFFFFu, 1), std::pair(1u << 20, 1), std::pair((1u << 20) - 1, 2)}) {
        const std::uint32_t room = needed;
        int questions = 0;
        const Headers headers = CaptureHeaders({"A"}, [&](char*, std::uint32_t& size, std::uint32_t&) {
            ++questions;
            size = room;
            return HeaderAnswer::TooSmall;
        });
        EXPECT_TRUE(headers.empty());
        EXPECT_EQ(questions, expected) << needed;
    }
}

}  // namespace
