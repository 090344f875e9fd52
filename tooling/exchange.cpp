#include "tooling/exchange.h"

#include <algorithm>
#include <cstdio>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame.h"

namespace {

constexpr int kFormat = 1;

bool IsText(std::string_view bytes) {
    const std::string text(bytes);
    return bytes.find('\0') == std::string_view::npos && Utf16ToUtf8(Utf8ToUtf16(text)) == text;
}

// The envelope in payload, when it is one that writes back to the same bytes.
bool ReadMessage(std::string_view payload, Json::Value& message) {
    return ParseJson(payload, message) && message.isObject() && WriteJson(message) == payload;
}

int TypeOf(const Json::Value& message) {
    const Json::Value* type = message.isObject() ? FindJsonMember(message, "message_type") : nullptr;
    return type != nullptr && IsJsonInteger(*type) ? type->asInt() : 0;
}

// The content of the payload's envelope, null when there is none.
Json::Value ContentOf(std::string_view payload, int& type) {
    Json::Value message;
    type = 0;
    if (!ParseJson(payload, message) || !message.isObject()) {
        return {};
    }
    type = TypeOf(message);
    const Json::Value* content = FindJsonMember(message, "content");
    return content != nullptr ? *content : Json::Value();
}

bool ReadText(const Json::Value& line, const char* key, std::string& text) {
    const Json::Value* member = FindJsonMember(line, key);
    if (member == nullptr || !member->isString()) {
        return false;
    }
    text = member->asString();
    return true;
}

bool ReadPayload(const Json::Value& line, std::string& payload) {
    const Json::Value* message = FindJsonMember(line, "message");
    const Json::Value* text = FindJsonMember(line, "payload");
    const Json::Value* hex = FindJsonMember(line, "hex");
    if ((message != nullptr) + (text != nullptr) + (hex != nullptr) != 1) {
        return false;
    }
    if (message != nullptr) {
        payload = WriteJson(*message);
        return message->isObject();
    }
    if (text != nullptr) {
        return ReadText(line, "payload", payload);
    }
    std::string digits;
    return ReadText(line, "hex", digits) && ParseHex(digits, payload);
}

bool ReadAny(const Json::Value& line, std::vector<std::string>& any) {
    const Json::Value* member = FindJsonMember(line, "any");
    if (member == nullptr) {
        return true;
    }
    if (!member->isArray()) {
        return false;
    }
    for (const Json::Value& one : *member) {
        if (!one.isString()) {
            return false;
        }
        any.push_back(one.asString());
    }
    return true;
}

// An empty text, or what is wrong with the line.
std::string ReadFrameLine(const Json::Value& line, ExchangeFrame& frame) {
    std::string from;
    if (!ReadText(line, "from", from) || (from != "caller" && from != "helper")) {
        return "\"from\" is neither \"caller\" nor \"helper\"";
    }
    frame.direction = from == "caller" ? FrameDirection::Sent : FrameDirection::Received;
    if (!ReadPayload(line, frame.payload)) {
        return "there is not one of \"message\", \"payload\" and \"hex\"";
    }
    if (!ReadAny(line, frame.any)) {
        return "\"any\" is not a list of texts";
    }
    if (FindJsonMember(line, "note") != nullptr && !ReadText(line, "note", frame.note)) {
        return "\"note\" is not a text";
    }
    return {};
}

std::string ReadHead(const Json::Value& line, Exchange& exchange) {
    const Json::Value* format = FindJsonMember(line, "exchange");
    if (format == nullptr || !IsJsonInteger(*format) || *format != kFormat) {
        return "this is not an exchange of format 1";
    }
    return ReadText(line, "mark", exchange.mark) && ReadText(line, "service", exchange.service)
               ? std::string()
               : "\"mark\" or \"service\" is missing";
}

}  // namespace

bool ReadExchange(std::string_view text, Exchange& exchange, std::string& problem) {
    exchange = Exchange();
    std::size_t number = 0;
    bool head = false;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string_view line = text.substr(at, end - at);
        at = end + 1;
        ++number;
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.empty()) {
            continue;
        }
        Json::Value value;
        std::string wrong;
        if (!ParseJson(line, value) || !value.isObject()) {
            wrong = "this is not a JSON object";
        } else if (!head) {
            wrong = ReadHead(value, exchange);
            head = true;
        } else {
            wrong = ReadFrameLine(value, exchange.frames.emplace_back());
        }
        if (!wrong.empty()) {
            problem = "line " + std::to_string(number) + ": " + wrong;
            return false;
        }
    }
    if (!head) {
        problem = "the file is empty";
    }
    return head;
}

std::string WriteExchange(const Exchange& exchange) {
    Json::Value head(Json::objectValue);
    head["exchange"] = kFormat;
    head["mark"] = exchange.mark;
    head["service"] = exchange.service;
    std::string text = WriteJson(head) + "\n";
    for (const ExchangeFrame& frame : exchange.frames) {
        Json::Value line(Json::objectValue);
        line["from"] = frame.direction == FrameDirection::Sent ? "caller" : "helper";
        Json::Value message;
        if (ReadMessage(frame.payload, message)) {
            line["message"] = std::move(message);
        } else if (IsText(frame.payload)) {
            line["payload"] = frame.payload;
        } else {
            line["hex"] = HexText(frame.payload);
        }
        for (const std::string& key : frame.any) {
            line["any"].append(key);
        }
        if (!frame.note.empty()) {
            line["note"] = frame.note;
        }
        text += WriteJson(line) + "\n";
    }
    return text;
}

bool IsLoading(std::string_view payload) {
    int type = 0;
    const Json::Value content = ContentOf(payload, type);
    std::string word;
    return type == static_cast<int>(MessageType::S_MT_StatusReply) && content.isObject() &&
           ReadText(content, "result", word) && word == "Loading";
}

void SettleExchange(Exchange& exchange) {
    auto& frames = exchange.frames;
    const auto isPoll = [&](std::size_t at) {
        int type = 0;
        if (at >= frames.size() || frames[at].direction != FrameDirection::Sent) {
            return false;
        }
        ContentOf(frames[at].payload, type);
        return type == static_cast<int>(MessageType::S_MT_OpenMiniAppSuccessfully);
    };
    for (std::size_t at = 0; at + 1 < frames.size();) {
        if (isPoll(at) && frames[at + 1].direction == FrameDirection::Received && IsLoading(frames[at + 1].payload) &&
            isPoll(at + 2)) {
            frames.erase(frames.begin() + static_cast<std::ptrdiff_t>(at),
                         frames.begin() + static_cast<std::ptrdiff_t>(at) + 2);
        } else {
            ++at;
        }
    }
    for (ExchangeFrame& frame : frames) {
        int type = 0;
        ContentOf(frame.payload, type);
        // The padding of an envelope is random in each.
        if (frame.direction == FrameDirection::Received &&
            (type == static_cast<int>(MessageType::S_MT_StatusEncryptReply) ||
             type == static_cast<int>(MessageType::S_MT_RSAEncryptReply))) {
            frame.any = {"result"};
        }
    }
}

Exchange MoveExchange(const Exchange& exchange, const std::string& mark, const std::string& service) {
    Exchange moved = exchange;
    moved.mark = mark;
    moved.service = service;
    for (ExchangeFrame& frame : moved.frames) {
        Json::Value message;
        if (!ReadMessage(frame.payload, message) || !message["content"].isObject()) {
            continue;
        }
        Json::Value& content = message["content"];
        std::string named;
        if (ReadText(content, "service_id", named) && named == exchange.service) {
            content["service_id"] = service;
            frame.payload = WriteJson(message);
        }
    }
    return moved;
}

std::string ExchangeDifference(const ExchangeFrame& expected, std::string_view payload) {
    if (expected.payload == payload) {
        return {};
    }
    int expectedType = 0;
    int type = 0;
    Json::Value expectedContent = ContentOf(expected.payload, expectedType);
    Json::Value content = ContentOf(payload, type);
    if (expectedType == 0 || type == 0) {
        return "the payload is another";
    }
    if (expectedType != type) {
        return "type " + std::to_string(type) + " came instead of " + std::to_string(expectedType);
    }
    if (!expectedContent.isObject() || !content.isObject()) {
        return expectedContent == content ? std::string() : "the content is another";
    }
    for (const std::string& key : expected.any) {
        if (expectedContent.isMember(key) && content.isMember(key)) {
            expectedContent.removeMember(key);
            content.removeMember(key);
        }
    }
    for (const std::string& key : expectedContent.getMemberNames()) {
        const Json::Value* found = FindJsonMember(content, key);
        if (found == nullptr) {
            return "\"" + key + "\" is missing";
        }
        if (*found != expectedContent[key]) {
            return "\"" + key + "\" is " + WriteJson(*found) + " instead of " + WriteJson(expectedContent[key]);
        }
    }
    for (const std::string& key : content.getMemberNames()) {
        if (!expectedContent.isMember(key)) {
            return "\"" + key + "\" is new";
        }
    }
    return {};
}

std::string ShowExchange(const Exchange& exchange) {
    std::string text;
    for (const ExchangeFrame& frame : exchange.frames) {
        int type = 0;
        ContentOf(frame.payload, type);
        const std::string bytes = BuildFrame(frame.payload);
        if (!text.empty()) {
            text += "\n";
        }
        text += frame.note + (frame.note.empty() ? "" : " ");
        text += frame.direction == FrameDirection::Sent ? "`caller -> helper`" : "`caller <- helper`";
        text += ", type " + std::to_string(type) + ", `" + MessageTypeName(type) + "`, " +
                std::to_string(bytes.size()) + " bytes.\n\n";
        for (std::size_t at = 0; at < bytes.size(); at += 16) {
            const std::string_view row = std::string_view(bytes).substr(at, 16);
            char head[16];
            std::snprintf(head, sizeof head, "    %04x  ", static_cast<unsigned>(at));
            std::string digits = HexText(row.substr(0, 8)) + (row.size() > 8 ? "  " + HexText(row.substr(8)) : "");
            digits.resize(48, ' ');
            text += head + digits + "  ";
            for (const char c : row) {
                text += c >= 0x20 && c < 0x7F ? c : '.';
            }
            text += "\n";
        }
    }
    return text;
}
