// Base64 as one unbroken line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// Standard base64 of bytes, padded with "=", without line breaks or a terminator of its own: 172 characters for an
// envelope's block of 128 bytes.
//
// The platform's own encoder (CryptBinaryToStringA, flag 1) gives this same text cut into lines, whose ends would have
// to be taken out again. The table needs no crypt32.dll in the process's start and runs natively under the sanitizers;
// base64_encode_win_test.cpp holds the two together.
std::string Base64EncodeNoBreaks(const std::uint8_t* data, std::size_t size);

constexpr std::size_t Base64Length(std::size_t size) {
    return (size + 2) / 3 * 4;
}

// Writes the Base64Length(bytes.size()) characters of the text to target.
void Base64EncodeTo(std::span<const std::uint8_t> bytes, char* target);
