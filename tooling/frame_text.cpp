#include "tooling/frame_text.h"

#include <cstdio>

#include "client/payload_sink.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame_cutter.h"

namespace {

struct Read {
    int type = 0;
    Json::Value message;  // null when the payload is not an envelope
};

Read ReadPayload(std::string_view payload) {
    Read read;
    Json::Value root;
    if (ParseJson(payload, root) && root.isObject()) {
        const Json::Value* type = FindJsonMember(root, "message_type");
        if (type != nullptr && IsJsonInteger(*type)) {
            read.type = type->asInt();
            read.message.swap(root);
        }
    }
    return read;
}

// Valid UTF-8, whatever came.
std::string Printable(std::string_view text) {
    std::string whole;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = text.find('\0', at);
        whole += Utf16ToUtf8(Utf8ToUtf16(std::string(text.substr(at, end - at))));
        if (end == std::string_view::npos) {
            break;
        }
        whole += '\0';
        at = end + 1;
    }
    return whole;
}

int DigitValue(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

}  // namespace

Json::Value FrameRecord(FrameDirection direction, std::string_view payload) {
    Read read = ReadPayload(payload);
    Json::Value record(Json::objectValue);
    record["direction"] = direction == FrameDirection::Sent ? "sent" : "received";
    record["type"] = read.type;
    record["name"] = MessageTypeName(read.type);
    if (read.message.isNull()) {
        record["payload"] = Printable(payload);
    } else {
        record["message"].swap(read.message);
    }
    return record;
}

std::string FrameLine(FrameDirection direction, std::string_view payload) {
    const Read read = ReadPayload(payload);
    char head[80];
    std::snprintf(head, sizeof head, "%s %2d %-30s ",
                  direction == FrameDirection::Sent ? "caller -> helper" : "caller <- helper", read.type,
                  MessageTypeName(read.type));
    return head + Printable(payload);
}

std::string HexText(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        if (!text.empty()) {
            text += ' ';
        }
        text += kDigits[static_cast<unsigned char>(c) >> 4];
        text += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return text;
}

bool ParseHex(std::string_view text, std::string& bytes) {
    int high = -1;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            continue;
        }
        const int value = DigitValue(c);
        if (value < 0) {
            return false;
        }
        if (high < 0) {
            high = value;
        } else {
            bytes += static_cast<char>(high * 16 + value);
            high = -1;
        }
    }
    return high < 0;
}

bool CutFrames(std::string_view bytes, std::vector<std::string>& payloads) {
    CFrameCutter cutter;
    CPayloadSink sink([&](std::string payload) { payloads.push_back(std::move(payload)); });
    cutter.Append(bytes.data(), bytes.size());
    cutter.DispatchFrames(&sink);
    return cutter.AtFrameEnd();
}
