// The envelope's random source: a counter seeded from the clock and read through MD5.
//
// Its output is predictable once the time of its seeding is known (see rsa_envelope.h). Do not use it elsewhere.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "support/envelope/md5.h"
#include "support/envelope/rsa_seed_clock.h"

struct RsaRandomState {
    std::uint32_t bytesNeeded = 512;        // seed bytes still needed before anything is produced
    std::array<std::uint8_t, 16> state{};   // a 128-bit big-endian counter
    std::uint32_t outputAvailable = 0;      // unused bytes, at the end of output
    std::array<std::uint8_t, 16> output{};  // the last digest
};

// Adds the MD5 digest of the bytes to the counter and counts them as seed.
void RsaRandomUpdate(RsaRandomState& state, const void* bytes, std::size_t length);

// Fills out with random bytes. Produces nothing, and returns false, while seed bytes are needed.
bool RsaGenerateBytes(std::uint8_t* out, std::size_t length, RsaRandomState& state);

// Seeds fresh states: for every pass the calendar second as a broken-down UTC record of nine 32-bit fields and the
// process's clock, until the state needs no more, which takes 13 passes. Within a run of blocks neither changes often,
// so the digests of the last record and the last clock value are kept: the sum is the same, most of the hashing is
// not done again. Lives on the stack of the function that seals one text.
class CRsaSeeder {
  public:
    using Sampler = RsaSeedSample (*)();
    explicit CRsaSeeder(Sampler sampler = &SampleSeedClock) : m_pfnSample(sampler) {}

    void Seed(RsaRandomState& state);

  private:
    Sampler m_pfnSample;
    bool m_bKept = false;
    RsaSeedSample m_last{};
    Md5Digest m_secondDigest{};
    Md5Digest m_clockDigest{};
};

// The broken-down UTC record of a calendar second: second, minute, hour, day of the month, month from 0, year since
// 1900, day of the week from Sunday, day of the year from 0, daylight flag 0; each 32 bits, little-endian.
std::array<std::uint8_t, 36> BrokenDownUtc(std::int64_t seconds);
