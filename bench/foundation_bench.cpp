// The ground floor against what the machine can do at best: copying, and an empty loop.
#include <cstring>
#include <string>

#include "bench/bench_table.h"
#include "foundation/json_text.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"

namespace {

// No power of two: source and target at the same place in their pages would stall each other.
constexpr std::size_t kTextBytes = 20000;

std::string RepeatedTo(std::size_t size, const std::string& piece) {
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    text.resize(size);
    return text;
}

void AddCopy(BenchTable& table, const std::string& source) {
    table.Add(
        "copy into a new string",
        [&source](std::size_t count) {
            for (; count > 0; --count) {
                const std::string copy(source);
                Keep(copy);
            }
        },
        source.size());
}

void Base64() {
    const std::string plain = RepeatedTo(kTextBytes, "eyJtaWQiOiIxMjM0NTY3ODkwIiwiY2hhbm5lbF9pZCI6IjEyIn0x");
    std::string lines;
    for (std::size_t at = 0; at < plain.size(); at += 64) {
        lines += plain.substr(at, 64) + "\r\n";
    }
    BenchTable table("Base64Decode, 20000 bytes");
    AddCopy(table, plain);
    for (const auto& [name, text] : {std::pair{"one line", &plain}, {"lines of 64", &lines}}) {
        table.Add(
            name,
            [kept = text](std::size_t count) {
                std::string decoded;
                for (; count > 0; --count) {
                    Base64Decode(*kept, decoded);
                    Keep(decoded);
                }
            },
            text->size());
    }
    table.Run();
}

void UrlEscaping() {
    const std::string words = RepeatedTo(kTextBytes, "a plain text of words and 12 numbers ");
    const std::string url = RepeatedTo(kTextBytes, "https://host.example/path?x=1&y=%E4 中文~");
    BenchTable table("UrlEscapeString, 20000 bytes");
    AddCopy(table, words);
    for (const auto& [name, text] : {std::pair{"words", &words}, {"URLs and Chinese", &url}}) {
        table.Add(
            name,
            [kept = text](std::size_t count) {
                for (; count > 0; --count) {
                    const std::string escaped = UrlEscapeString(*kept);
                    Keep(escaped);
                }
            },
            text->size());
    }
    table.Run();
}

void TextConversion() {
    const std::string ascii = RepeatedTo(kTextBytes, "a plain text of words and 12 numbers ");
    const std::string shortText = "WxMiniProgram";
    BenchTable table("Utf8ToUtf16 and back");
    AddCopy(table, ascii);
    for (const auto& [name, text] :
         {std::pair{"20000 bytes of ASCII, both ways", &ascii}, {"a short name, both ways", &shortText}}) {
        table.Add(
            name,
            [kept = text](std::size_t count) {
                for (; count > 0; --count) {
                    const std::string back = Utf16ToUtf8(Utf8ToUtf16(*kept));
                    Keep(back);
                }
            },
            2 * text->size());
    }
    table.Run();
}

void LogOff() {
    BenchTable table("a log call that is off");
    table.Add("empty loop", [](std::size_t count) {
        for (; count > 0; --count) {
            Barrier();
        }
    });
    table.Add("the same with a log call", [](std::size_t count) {
        std::string text = "an argument that costs something to convert";
        for (; count > 0; --count) {
            Barrier();
            NXL_LOG(L"[%s(%d)] a text %s and a number %d", Utf8ToUtf16(text).c_str(), static_cast<int>(count));
        }
    });
    table.Run();
}

void JsonTexts() {
    const std::string request =
        R"({"message_type":6,"mark":"default","service_id":"service-0001","p1":"{\"type\":\"1\",\"appId\":\"wx0123456789abcdef\",)"
        R"(\"appPath\":\"pages/index\",\"wndname\":\"小程序\",\"try_install\":0}"})";
    BenchTable table("one request as JSON, " + std::to_string(request.size()) + " bytes");
    AddCopy(table, request);
    table.Add(
        "ParseJson",
        [&request](std::size_t count) {
            for (; count > 0; --count) {
                Json::Value value;
                ParseJson(request, value);
                Keep(value);
            }
        },
        request.size());
    Json::Value parsed;
    ParseJson(request, parsed);
    table.Add(
        "WriteJson",
        [&parsed](std::size_t count) {
            for (; count > 0; --count) {
                const std::string text = WriteJson(parsed);
                Keep(text);
            }
        },
        request.size());
    table.Run();
}

}  // namespace

int main() {
    LogOff();
    Base64();
    UrlEscaping();
    TextConversion();
    JsonTexts();
    return 0;
}
