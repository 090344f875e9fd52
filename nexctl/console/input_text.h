// Texts that people hand in as files.
#pragma once

#include <string>
#include <string_view>

// The UTF-8 text of a file's bytes: UTF-8 with or without a mark, or UTF-16 little-endian with its mark, which is what
// ">" writes in PowerShell. The mark is dropped. Broken UTF-16 becomes U+FFFD; UTF-8 stays as it is.
std::string DecodeInputText(std::string_view bytes);
