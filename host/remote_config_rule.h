// What the daily remote file says and when it is due. Pure rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

// While the stored answer is younger than this, no other is fetched.
inline constexpr std::uint32_t kRemoteConfigMinAgeSeconds = 86400;

// Both are the low 32 bits of a time in seconds. The difference is unsigned: a stored time in the future is
// very old, so that the fault of a wrong clock ends by itself.
constexpr bool IsRemoteConfigDue(std::uint32_t now, std::uint32_t lastFetch) {
    return now - lastFetch > kRemoteConfigMinAgeSeconds;
}

struct RemoteConfig {
    // The text is JSON with an object as its root.
    bool bParsed = false;
    // 1 or 0: appShortcut.create of the file, absent when the file lacks it or has no integer there.
    std::optional<std::uint32_t> nAppShortcutCreate;
};

RemoteConfig ReadRemoteConfig(std::string_view text);
