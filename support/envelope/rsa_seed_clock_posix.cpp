#include <chrono>

#include "support/envelope/rsa_seed_clock.h"

namespace {

const std::chrono::steady_clock::time_point g_processStart = std::chrono::steady_clock::now();

}  // namespace

RsaSeedSample SampleSeedClock() {
    using namespace std::chrono;
    const auto seconds = duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch()).count();
    const auto running = duration_cast<milliseconds>(steady_clock::now() - g_processStart).count();
    return {seconds, static_cast<std::uint32_t>(running)};
}
