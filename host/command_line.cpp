#include "host/command_line.h"

#include <json/value.h>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"

std::optional<std::wstring> ReadSwitch(const std::wstring& commandLine, const wchar_t* key, std::size_t size) {
    std::wstring value(size, L'\0');
    if (GetCommandLineValue(commandLine.c_str(), key, value.data(), size) == 0) {
        return std::nullopt;
    }
    value.resize(value.find(L'\0'));
    return value;
}

std::string DecodeSwitch(const std::wstring& value) {
    std::string text;
    Base64Decode(Utf16ToUtf8(value), text);
    return text;
}

std::int32_t TypeFromSwitch(const std::wstring& value) {
    return std::stoi(value);
}

ChannelMidStatus ReadChannelMid(const std::string& channel, std::string& mid) {
    Json::Value root;
    if (!ParseJson(channel, root)) {
        return ChannelMidStatus::ParseError;
    }
    if (!root.isObject()) {
        return ChannelMidStatus::NotObject;
    }
    const Json::Value* member = FindJsonMember(root, "mid");
    if (member == nullptr || !member->isString()) {
        return ChannelMidStatus::NoMid;
    }
    mid = member->asString();
    return ChannelMidStatus::Ok;
}
