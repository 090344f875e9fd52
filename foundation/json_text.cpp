#include "foundation/json_text.h"

#include <atomic>
#include <optional>

#include <json/reader.h>
#include <json/writer.h>

#include "foundation/json_numbers.h"

namespace {

std::atomic<std::uint64_t> g_nParsed{0};
std::atomic<std::uint64_t> g_nWritten{0};

void AppendQuoted(std::string& out, std::string_view text) {
    constexpr char digits[] = "0123456789abcdef";
    out += '"';
    std::size_t plainFrom = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto c = static_cast<unsigned char>(text[at]);
        if (c >= 0x20 && c != '"' && c != '\\') {
            continue;
        }
        out.append(text, plainFrom, at - plainFrom);
        plainFrom = at + 1;
        switch (c) {
            case '"':
            case '\\':
                out += {'\\', static_cast<char>(c)};
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                out += {'\\', 'u', '0', '0', digits[c >> 4], digits[c & 15]};
                break;
        }
    }
    out.append(text, plainFrom);
    out += '"';
}

std::string_view StringIn(const Json::Value& value) {
    const char* begin = nullptr;
    const char* end = nullptr;
    return value.getString(&begin, &end) ? std::string_view(begin, static_cast<std::size_t>(end - begin)) : "";
}

// The library's own writers make a stream, a copy of each string and a list of all keys for every text; this one only
// appends. Numbers are formatted by the library.
void Append(std::string& out, const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue:
            out += "null";
            break;
        case Json::intValue:
            out += Json::valueToString(value.asLargestInt());
            break;
        case Json::uintValue:
            out += Json::valueToString(value.asLargestUInt());
            break;
        case Json::realValue:
            out += Json::valueToString(value.asDouble());
            break;
        case Json::stringValue:
            AppendQuoted(out, StringIn(value));
            break;
        case Json::booleanValue:
            out += value.asBool() ? "true" : "false";
            break;
        case Json::arrayValue: {
            out += '[';
            const char* separator = "";
            for (Json::ArrayIndex index = 0; index < value.size(); ++index) {
                out += separator;
                Append(out, value[index]);
                separator = ",";
            }
            out += ']';
            break;
        }
        case Json::objectValue: {
            out += '{';
            const char* separator = "";
            for (auto member = value.begin(); member != value.end(); ++member) {
                out += separator;
                const char* nameEnd = nullptr;
                const char* name = member.memberName(&nameEnd);
                AppendQuoted(out, {name, static_cast<std::size_t>(nameEnd - name)});
                out += ':';
                Append(out, *member);
                separator = ",";
            }
            out += '}';
            break;
        }
    }
}

}  // namespace

// The one reader that callers know; the library has marked its name for a later version.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

bool ParseJson(std::string_view text, Json::Value& value) {
    g_nParsed.fetch_add(1, std::memory_order_relaxed);
    const std::optional<std::string> shortened = WithShortNumbers(text);
    if (shortened) {
        text = *shortened;
    }
    Json::Reader reader;
    bool parsed = false;
    try {
        // For each comment that it keeps the library looks again at all the text since the last value: half a mebibyte
        // of comments would take it many seconds.
        parsed = reader.parse(text.data(), text.data() + text.size(), value, /*collectComments=*/false);
    } catch (const Json::RuntimeError&) {
        // Nested deeper than the reader's limit: a caller must not be able to end the process with that.
    }
    if (!parsed) {
        // What the reader had made so far is of no use to anyone.
        value = Json::Value();
    }
    return parsed;
}

std::string DescribeJsonError(std::string_view text) {
    Json::Reader reader;
    Json::Value value;
    try {
        if (reader.parse(text.data(), text.data() + text.size(), value, /*collectComments=*/false)) {
            return {};
        }
    } catch (const Json::RuntimeError&) {
        return "it is nested too deep";
    }
    const auto errors = reader.getStructuredErrors();
    if (errors.empty()) {
        return "it is empty";
    }
    return errors.front().message + " (at byte " + std::to_string(errors.front().offset_start) + ")";
}

#pragma GCC diagnostic pop

std::string WriteJson(const Json::Value& value) {
    g_nWritten.fetch_add(1, std::memory_order_relaxed);
    std::string text;
    Append(text, value);
    return text;
}

JsonTextCounts CountJsonTexts() {
    return {g_nParsed.load(std::memory_order_relaxed), g_nWritten.load(std::memory_order_relaxed)};
}

std::string JsonToText(const Json::Value& value) {
    if (value.isNumeric()) {
        Json::throwLogicError("Type is not convertible to string");
    }
    return value.asString();
}

std::int32_t JsonToInt(const Json::Value& value) {
    return value.asInt();
}

std::uint32_t JsonToUInt(const Json::Value& value) {
    return value.asUInt();
}

const Json::Value& JsonMember(const Json::Value& value, const char* key) {
    return value[key];
}

const Json::Value* FindJsonMember(const Json::Value& value, std::string_view key) {
    return value.find(key.data(), key.data() + key.size());
}
