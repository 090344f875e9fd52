// Numbers of JSON texts that are longer than any number needs to be.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// From this many digits on a number is written shorter before it is read.
inline constexpr std::size_t kLongNumberDigits = 1024;

// The text with each number of nLongDigits digits or more, counted from its first digit other than 0, written as
// "0.DIGITSeEXPONENT" with at most 801 digits: to a double it is the same number, and what is not a number stays as it
// is. Nothing when there is no such number, which for most texts costs a look at one character in hundreds. nLongDigits
// is above 20: shorter numbers may be integers of 64 bits.
//
// A platform's conversion may take time that grows with the square of the digits: minutes for a mebibyte of them. This
// one is linear in the text. Any thread.
std::optional<std::string> WithShortNumbers(std::string_view text, std::size_t nLongDigits = kLongNumberDigits);
