// A login mark counts exactly when its state is not zero and its age, counted modulo 2^64, is at most 28 days; a cache
// when its state is one and its age modulo 2^32 is.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "fuzz/fuzz_check.h"
#include "open/probes/login_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LoginMark mark;
    std::uint64_t now = 0;
    if (size < mark.size() + sizeof now) {
        return 0;
    }
    std::copy_n(data, mark.size(), mark.begin());
    std::memcpy(&now, data + mark.size(), sizeof now);

    // The same fields as this little-endian machine reads them.
    std::uint32_t state = 0;
    std::uint64_t stamp = 0;
    std::memcpy(&state, mark.data(), sizeof state);
    std::memcpy(&stamp, mark.data() + 4, sizeof stamp);
    FUZZ_CHECK(IsLoginMarkFresh(mark, now) == (state != 0 && now - stamp <= 28ull * 24 * 3600 * 10'000'000));
    // The last moment that counts, and the first that does not.
    FUZZ_CHECK(IsLoginMarkFresh(mark, stamp + kLoginMarkAgeLimit) == (state != 0));
    FUZZ_CHECK(!IsLoginMarkFresh(mark, stamp + kLoginMarkAgeLimit + 1));

    const LoginCache cache{static_cast<std::uint32_t>(stamp), state};
    const auto seconds = static_cast<std::uint32_t>(now);
    FUZZ_CHECK(IsLoginCacheFresh(cache, seconds) ==
               (state == 1 && static_cast<std::uint32_t>(seconds - cache.lt) <= 28u * 24 * 3600));
    return 0;
}
