// Collects the response headers a transfer was asked for, through the platform's one-value-at-a-time query.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

// One question to the platform. buffer holds the header's name on entry and its value on success; size is the room in
// bytes on entry, on success the bytes of the value without its terminator and, when the room is too small, the room
// needed. index chooses among repeated headers and is moved to the next one.
enum class HeaderAnswer { Found, TooSmall, Failed };
using HeaderQuery = std::function<HeaderAnswer(char* buffer, std::uint32_t& size, std::uint32_t& index)>;

// Every value of every named header, the values of one name in the order in which the response carries them. A value is
// cut after 4096 bytes, a name is taken up to its first 520. A value that is shorter than the one before it under the
// same name ends with what is left of that one. Ends for any answers of query.
std::multimap<std::string, std::string> CaptureHeaders(const std::set<std::string>& names, const HeaderQuery& query);
