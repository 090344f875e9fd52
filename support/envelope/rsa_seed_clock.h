// What the envelope's random source is seeded with.
#pragma once

#include <cstdint>

struct RsaSeedSample {
    std::int64_t seconds;          // calendar time since 1970-01-01 00:00:00 UTC
    std::uint32_t processClockMs;  // since the process began
    bool operator==(const RsaSeedSample&) const = default;
};

RsaSeedSample SampleSeedClock();
