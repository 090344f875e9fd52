// MD5 as published in RFC 1321. The envelope's random source runs on it; it does not protect anything.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

using Md5Digest = std::array<std::uint8_t, 16>;

struct Md5Context {
    std::array<std::uint32_t, 4> state;
    std::uint64_t length;                // bytes taken so far
    std::array<std::uint8_t, 64> block;  // the bytes of length % 64 that wait for their block to fill
};

void Md5Init(Md5Context& context);
void Md5Update(Md5Context& context, std::span<const std::uint8_t> bytes);

// Pads, gives the digest and clears the context.
void Md5Final(Md5Context& context, Md5Digest& digest);

// The digest of bytes in one piece.
Md5Digest Md5Of(std::span<const std::uint8_t> bytes);
