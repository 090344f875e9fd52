// What a URL must be for a transfer to begin, decided without the platform's library.
#pragma once

#include <cstddef>
#include <string_view>

// The platform is given this much room for the host and for the path with its query, the terminator included.
inline constexpr std::size_t kHostCharacters = 260;
inline constexpr std::size_t kPathCharacters = 4096;

// True for a URL of the scheme http or https, in any case, whose host and path with query fit that room.
bool IsHttpUrl(std::wstring_view url);
