// The RSA envelope: a text that only the holder of the private key can read.
//
// The text is cut into pieces of at most 117 bytes; each is padded by PKCS#1 v1.5 type 2 (RFC 8017 section 7.2.1),
// encrypted with the 1024-bit public key built into the program, written in base64, and the blocks are joined by
// "|&|", without a separator at either end.
//
// What the envelope does not protect against:
//  - Guessing. The padding comes from the calendar second and the process's clock in milliseconds and from nothing
//    else. An attacker who knows roughly when a block was made can try the seeds and test a guess at the text against
//    the public key; equal texts sealed within the same millisecond give equal envelopes.
//  - Tampering and forgery. There is no signature and no checksum: anyone can make, drop, repeat or reorder blocks.
//  - Time. 1024 bits are below what is recommended today, and a reader that answers differently to bad and good
//    padding turns the padding scheme into an oracle.
// Format, key size and random source are settled with the programs that read the envelopes. New uses need something
// else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Result codes of this family.
constexpr std::uint32_t kRsaSuccess = 0;
constexpr std::uint32_t kRsaNoMemoryOrInput = 1;     // no memory, or nothing to encrypt
constexpr std::uint32_t kRsaValueTooLarge = 1025;    // the value is not below the modulus
constexpr std::uint32_t kRsaBlockDoesNotFit = 1030;  // the piece leaves no room for eight random bytes

constexpr std::string_view kEnvelopeSeparator = "|&|";

// The envelope of text; the empty string on any failure, which an empty text is too. Nothing is logged. Any thread.
std::string RsaEncryptToString(std::string_view text);

// The same into out, which is emptied first, with the result code. After a failure out holds the blocks made so far,
// each with its separator.
std::uint32_t RsaEncryptBlocks(std::vector<std::uint8_t>& out, const void* data, std::size_t size);
