#include "host/monitor_notice.h"
#include "tests/support/json_of.h"

#include <gtest/gtest.h>
#include <json/value.h>

namespace {

using namespace std::string_literals;

std::string Word(std::size_t value) {
    return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8)};
}

// One entry as the monitor reads it.
std::string Entry(const std::string& key, std::size_t type, const std::string& value) {
    return Word(key.size()) + key + Word(type) + Word(value.size()) + value;
}

std::string Text(const std::string& key, const std::string& value) {
    return Entry(key, 101, value);
}

// The notice of a request, which must be readable.
std::string NoticeOf(const std::string& text) {
    MonitorRequest request;
    EXPECT_EQ(ReadMonitorRequest(JsonOf(text), request), MonitorRequestStatus::Ok) << text;
    return request.bag.Serialize().value_or("no notice");
}

constexpr char kWholeRequest[] =
    R"({"isWxPopShow":1,"wxPopData":{"name":"Jump Jump","icon":"http://i/x.png","appid":"wx1","impressionid":"imp",)"
    R"("style_id":-3,"ext_data":{"b":[1,"two"],"a":null}}})";

TEST(MonitorNoticeTest, AWholeNoticeHasItsBytes) {
    const std::string expected = "BVRS" + Word(1) + Word(8) + Text("_type_", "appexit") +
                                 Text("windowname", "Jump Jump") + Text("icon", "http://i/x.png") + Text("id", "wx1") +
                                 Text("imps", "imp") + Text("ext", R"({"a":null,"b":[1,"two"]})") + Text("st", "-3") +
                                 Entry("from", 3, "\x02\x00\x00\x00"s) + "\x7D\x92\x5F\x3E";
    EXPECT_EQ(NoticeOf(kWholeRequest), expected);
}

TEST(MonitorNoticeTest, NegativeStyleKeepsItsMinusSign) {
    EXPECT_NE(NoticeOf(kWholeRequest).find(Text("st", "-3")), std::string::npos);
}

TEST(MonitorNoticeTest, FromAloneIsANumber) {
    const std::string notice = NoticeOf(kWholeRequest);
    EXPECT_NE(notice.find("\x04\x00"s + "from" + "\x03\x00\x04\x00\x02\x00\x00\x00"s), std::string::npos);
    std::size_t texts = 0;
    for (std::size_t at = notice.find("\x65\x00"s); at != std::string::npos; at = notice.find("\x65\x00"s, at + 1)) {
        ++texts;
    }
    EXPECT_EQ(texts, 7u);
}

TEST(MonitorNoticeTest, MissingMembersReadAsEmptyAndZero) {
    for (const char* text :
         {R"({"isWxPopShow":1})", R"({"isWxPopShow":1,"wxPopData":{}})", R"({"isWxPopShow":1,"wxPopData":null})"}) {
        const std::string notice = NoticeOf(text);
        EXPECT_NE(notice.find(Text("windowname", "") + Text("icon", "") + Text("id", "") + Text("imps", "") +
                              Text("ext", "null") + Text("st", "0")),
                  std::string::npos)
            << text;
    }
}

TEST(MonitorNoticeTest, TextsStayUtf8) {
    const std::string notice = NoticeOf("{\"isWxPopShow\":1,\"wxPopData\":{\"name\":\"\xE8\xB7\xB3\"}}");
    EXPECT_NE(notice.find(Text("windowname", "\xE8\xB7\xB3")), std::string::npos);
}

TEST(MonitorNoticeTest, RefererIsTheIdAndTheNameEscaped) {
    MonitorRequest request;
    ASSERT_EQ(ReadMonitorRequest(JsonOf(kWholeRequest), request), MonitorRequestStatus::Ok);
    EXPECT_EQ(request.strReferer, "wx1%5FJump+Jump");
}

TEST(MonitorNoticeTest, OnlyAShownPopUpGoesOut) {
    MonitorRequest request;
    for (const char* text : {"{}", R"({"isWxPopShow":0})", R"({"isWxPopShow":2})", R"({"isWxPopShow":null})"}) {
        EXPECT_EQ(ReadMonitorRequest(JsonOf(text), request), MonitorRequestStatus::NotShown) << text;
    }
    // Whatever converts to 1 counts.
    EXPECT_EQ(ReadMonitorRequest(JsonOf(R"({"isWxPopShow":true})"), request), MonitorRequestStatus::Ok);
}

TEST(MonitorNoticeTest, TextThatIsNotAnObjectIsRefused) {
    MonitorRequest request;
    for (const char* text : {"", "{", "[]", "\"x\"", "null"}) {
        EXPECT_EQ(ReadMonitorRequest(JsonOf(text), request), MonitorRequestStatus::BadText) << text;
    }
}

TEST(MonitorNoticeTest, MemberThatDoesNotConvertThrows) {
    MonitorRequest request;
    for (const char* text :
         {R"({"isWxPopShow":"1"})", R"({"isWxPopShow":1,"wxPopData":"x"})",
          R"({"isWxPopShow":1,"wxPopData":{"style_id":"7"}})", R"({"isWxPopShow":1,"wxPopData":{"name":{}}})"}) {
        EXPECT_THROW(ReadMonitorRequest(JsonOf(text), request), Json::LogicError) << text;
    }
}

TEST(MonitorNoticeTest, ValueBeyondItsLengthFieldGivesNoNotice) {
    MonitorBag bag;
    bag.AddText("k", std::string(65535, 'x'));
    ASSERT_TRUE(bag.Serialize().has_value());
    EXPECT_EQ(bag.Serialize()->size(), 8u + 2 + 1 + 2 + 2 + 65535 + 4);
    bag.AddText("k", std::string(65536, 'x'));
    EXPECT_FALSE(bag.Serialize().has_value());
}

TEST(MonitorNoticeTest, NumbersAreLittleEndian) {
    MonitorBag bag;
    bag.AddNumber("n", 0x01020304);
    bag.AddNumber("m", -2);
    EXPECT_EQ(bag.Serialize(), "BVRS" + Word(1) + Word(2) + Entry("n", 3, "\x04\x03\x02\x01") +
                                   Entry("m", 3, "\xFE\xFF\xFF\xFF") + "\x7D\x92\x5F\x3E");
}

}  // namespace
