#include "foundation/windows_headers.h"

#include "support/envelope/rsa_seed_clock.h"

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;  // of 100 ns
constexpr std::int64_t kTicksPerMs = 10'000;
constexpr std::int64_t kSecondsTo1970 = 11'644'473'600;  // from 1601, where file times begin

std::int64_t Ticks(const FILETIME& time) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

std::int64_t ProcessStart() {
    FILETIME created{}, ended, kernel, user;
    if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) {
        GetSystemTimeAsFileTime(&created);
    }
    return Ticks(created);
}

}  // namespace

// One reading of the system's file time serves both values: it costs a fraction of the runtime's time() and clock(),
// and a block takes 13 of them.
RsaSeedSample SampleSeedClock() {
    static const std::int64_t start = ProcessStart();
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const std::int64_t ticks = Ticks(now);
    return {ticks / kTicksPerSecond - kSecondsTo1970, static_cast<std::uint32_t>((ticks - start) / kTicksPerMs)};
}
