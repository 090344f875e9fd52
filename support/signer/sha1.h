// SHA-1 as published in FIPS 180-4: the thumbprint of a certificate.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

using Sha1Digest = std::array<std::uint8_t, 20>;

Sha1Digest Sha1Of(std::span<const std::uint8_t> bytes);

// The digest as 40 lower-case hexadecimal digits.
std::string Sha1Text(const Sha1Digest& digest);
