// What the SDK bindings take from a caller's channel text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct ChannelConfig {
    std::uint32_t m_nChannelId = 0;
    std::string m_strProduct;
    std::string m_strFrom;
};

enum class ChannelConfigOutcome {
    Ok,
    NotJson,
    NotObject,
};

// Reads channel_id, product and from. config changes only on Ok.
//
// The two kinds of host write channel_id in two ways, and each is read in its own way alone: an "ml" host as a JSON
// number, any other as a text holding a decimal number. What does not convert throws, and nothing catches it: callers
// rely on the process ending. Held by the tests named ...EndsTheProcess.
ChannelConfigOutcome ParseChannelConfig(const std::string& text, bool bMlHost, ChannelConfig& config);

// What a host has given to an SDK binding.
struct SdkHostData {
    bool m_bMlHost = false;
    std::string m_strConfig;
    std::wstring m_strSdkPath;
    std::wstring m_strHostTag;
    ChannelConfig m_channel;

    // Takes all of it over; m_channel only from a config that is Ok. Throws as ParseChannelConfig does.
    ChannelConfigOutcome Take(const std::string& config, const std::wstring& sdkPath, const std::wstring& hostTag);
};

// Reads a decimal number at the start of text as the platform's unsigned 32-bit conversion does: blanks and one sign
// may come first, what follows the digits is ignored, a minus sign negates modulo 2^32. Throws std::invalid_argument
// "invalid stoul argument" when there is no digit and std::out_of_range "stoul argument out of range" when the number
// needs more than 32 bits.
std::uint32_t ParseDecimalUnsigned(std::string_view text);
