// UTF-16 as files hold it.
#pragma once

#include <string>
#include <string_view>

// UTF-16 little-endian as UTF-8. Broken pairs become U+FFFD; half a character at the end is left out.
std::string DecodeUtf16(std::string_view bytes);
