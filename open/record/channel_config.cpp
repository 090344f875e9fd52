#include "open/record/channel_config.h"

#include <limits>
#include <stdexcept>

#include "foundation/json_text.h"

namespace {

constexpr bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::uint32_t ParseDecimalUnsigned(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && IsBlank(text[at])) {
        ++at;
    }
    bool bNegative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        bNegative = text[at] == '-';
        ++at;
    }
    if (at == text.size() || !IsDigit(text[at])) {
        throw std::invalid_argument("invalid stoul argument");
    }
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t value = 0;
    for (; at < text.size() && IsDigit(text[at]); ++at) {
        value = value * 10 + static_cast<std::uint64_t>(text[at] - '0');
        if (value > kMost) {
            throw std::out_of_range("stoul argument out of range");
        }
    }
    return static_cast<std::uint32_t>(bNegative ? 0 - value : value);
}

ChannelConfigOutcome ParseChannelConfig(const std::string& text, bool bMlHost, ChannelConfig& config) {
    Json::Value root;
    if (!ParseJson(text, root)) {
        return ChannelConfigOutcome::NotJson;
    }
    if (!root.isObject()) {
        return ChannelConfigOutcome::NotObject;
    }
    ChannelConfig read;
    const Json::Value& channelId = JsonMember(root, "channel_id");
    read.m_nChannelId = bMlHost ? JsonToUInt(channelId) : ParseDecimalUnsigned(JsonToText(channelId));
    read.m_strProduct = JsonToText(JsonMember(root, "product"));
    read.m_strFrom = JsonToText(JsonMember(root, "from"));
    config = read;
    return ChannelConfigOutcome::Ok;
}

ChannelConfigOutcome SdkHostData::Take(const std::string& config, const std::wstring& sdkPath,
                                       const std::wstring& hostTag) {
    m_strConfig = config;
    m_strSdkPath = sdkPath;
    m_strHostTag = hostTag;
    m_bMlHost = hostTag.find(L"ml") != std::wstring::npos;
    return ParseChannelConfig(config, m_bMlHost, m_channel);
}
