// The shared toolbox: text conversion, URL escaping, base64, command-line values, splitting. No state, no log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Conversion between the program's two kinds of text: narrow UTF-8 and wide UTF-16 (natively the platform's wide
// character). Text is taken up to its first NUL; broken sequences become U+FFFD.
std::string Utf16ToUtf8(const std::wstring& text);
std::wstring Utf8ToUtf16(const std::string& text);

// Escapes sourceLength bytes of source as a query value: a blank becomes "+", an ASCII letter or digit stays, every
// other byte becomes a percent sign and two upper-case hexadecimal digits.
//
// A sourceLength above 0xFFFFFFFE means the source's own length up to its NUL. A targetSize of 0 measures: the
// result is the size needed with its terminator, and the target is not touched. Otherwise the result is the length of
// the target's text; a piece that would reach the target's size is not begun, and an empty source leaves the target
// as it is. The target must hold a terminated text, empty in a zeroed buffer.
std::int32_t UrlEscape(const char* source, std::uint64_t sourceLength, char* target, std::size_t targetSize);

// The escaped text, up to its first NUL.
std::string UrlEscapeString(const std::string& text);

// Decodes base64 leniently: characters outside the alphabet are skipped, a NUL or "=" ends the decoding, padding is
// not checked. The result replaces target.
void Base64Decode(const std::string& source, std::string& target);

// Reads the value that follows the first occurrence of key anywhere in text: up to the next blank, or, when it begins
// with a quotation mark, up to the next one (or the next blank, or the end). At most targetSize - 1 characters are
// copied, without a terminator of their own, so the target must be zeroed. Returns 1 when the key occurs, else 0, and
// then leaves the target as it is.
int GetCommandLineValue(const wchar_t* text, const wchar_t* key, wchar_t* target, std::size_t targetSize);

// Adds the non-empty pieces of text between any of the delimiters to parts and returns how many parts there are. Of
// several delimiters found, the one whose length is skipped changes only to a longer one.
std::size_t SplitByDelimiters(const std::wstring& text, const std::vector<std::wstring>& delimiters,
                              std::vector<std::wstring>& parts);
