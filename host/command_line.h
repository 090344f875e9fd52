// The switches of the command line, and the machine id inside the channel text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

inline constexpr wchar_t kSwitchFrom[] = L"/from:";
inline constexpr wchar_t kSwitchChannel[] = L"/channel:";
inline constexpr wchar_t kSwitchType[] = L"/type:";
inline constexpr wchar_t kSwitchParam[] = L"/param:";
inline constexpr wchar_t kSwitchServiceId[] = L"/service_id:";

// Sizes of the values in characters with their terminator: a longer value is cut. That of /param: is the length of
// the whole command line.
inline constexpr std::size_t kShortSwitchSize = 259;
inline constexpr std::size_t kChannelSwitchSize = 519;

// The raw value of a switch, cut to size - 1 characters, or nothing when the switch is absent. The key is found
// anywhere in the text, also inside another value.
std::optional<std::wstring> ReadSwitch(const std::wstring& commandLine, const wchar_t* key, std::size_t size);

// The value of /channel: or /param: as the text it carries: base64 of UTF-8.
std::string DecodeSwitch(const std::wstring& value);

// The value of /type: as a number. Text that does not begin with one, or one beyond 32 bits, throws
// std::invalid_argument or std::out_of_range, which nothing catches: the process ends.
std::int32_t TypeFromSwitch(const std::wstring& value);

enum class ChannelMidStatus {
    Ok,
    ParseError,  // not JSON
    NotObject,   // the root is not an object
    NoMid,       // mid is missing or not a text
};

// Reads the machine id from the channel's JSON text into mid, which a refusal leaves unchanged.
ChannelMidStatus ReadChannelMid(const std::string& channel, std::string& mid);
