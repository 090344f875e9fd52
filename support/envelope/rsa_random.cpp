#include "support/envelope/rsa_random.h"

#include <algorithm>

namespace {

void AddDigest(RsaRandomState& state, const Md5Digest& digest, std::size_t seedBytes) {
    unsigned carry = 0;
    for (std::size_t i = state.state.size(); i-- > 0;) {
        const unsigned sum = carry + state.state[i] + digest[i];
        state.state[i] = static_cast<std::uint8_t>(sum);
        carry = sum >> 8;
    }
    state.bytesNeeded -= static_cast<std::uint32_t>(std::min<std::size_t>(state.bytesNeeded, seedBytes));
}

template <std::size_t N>
void StoreWords(std::array<std::uint8_t, 4 * N>& record, const std::array<std::int64_t, N>& words) {
    for (std::size_t i = 0; i < record.size(); ++i) {
        record[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(words[i / 4]) >> (8 * (i % 4)));
    }
}

}  // namespace

void RsaRandomUpdate(RsaRandomState& state, const void* bytes, std::size_t length) {
    AddDigest(state, Md5Of({static_cast<const std::uint8_t*>(bytes), length}), length);
}

bool RsaGenerateBytes(std::uint8_t* out, std::size_t length, RsaRandomState& state) {
    if (state.bytesNeeded > 0) {
        return false;
    }
    const auto hand = [&](std::size_t count) {
        out = std::copy_n(state.output.end() - state.outputAvailable, count, out);
        state.outputAvailable -= static_cast<std::uint32_t>(count);
        length -= count;
    };
    while (length > state.outputAvailable) {
        hand(state.outputAvailable);
        state.output = Md5Of(state.state);
        state.outputAvailable = static_cast<std::uint32_t>(state.output.size());
        // One number over all bytes counts up; a byte that becomes zero carries into the one before it.
        bool carry = true;
        for (std::size_t i = state.state.size(); carry && i-- > 0;) {
            state.state[i] = static_cast<std::uint8_t>(state.state[i] + 1U);
            carry = state.state[i] == 0;
        }
    }
    hand(length);
    return true;
}

void CRsaSeeder::Seed(RsaRandomState& state) {
    constexpr std::size_t kClockBytes = 4;
    state = RsaRandomState{};
    while (state.bytesNeeded > 0) {
        const RsaSeedSample sample = m_pfnSample();
        if (!m_bKept || sample.seconds != m_last.seconds) {
            m_secondDigest = Md5Of(BrokenDownUtc(sample.seconds));
        }
        if (!m_bKept || sample.processClockMs != m_last.processClockMs) {
            std::array<std::uint8_t, kClockBytes> clock;
            StoreWords<1>(clock, {sample.processClockMs});
            m_clockDigest = Md5Of(clock);
        }
        m_bKept = true;
        m_last = sample;
        AddDigest(state, m_secondDigest, std::tuple_size_v<decltype(BrokenDownUtc(0))>);
        AddDigest(state, m_clockDigest, kClockBytes);
    }
}

std::array<std::uint8_t, 36> BrokenDownUtc(std::int64_t seconds) {
    constexpr std::int64_t kDaySeconds = 86400;
    const std::int64_t ofDay = (seconds % kDaySeconds + kDaySeconds) % kDaySeconds;
    const std::int64_t days = (seconds - ofDay) / kDaySeconds;

    // Civil date from a day number, in years that begin on 1 March, so that the leap day comes last.
    const std::int64_t fromMarch = days + 719468;  // days since 0000-03-01
    const std::int64_t era = (fromMarch >= 0 ? fromMarch : fromMarch - 146096) / 146097;
    const std::int64_t ofEra = fromMarch - era * 146097;
    const std::int64_t yearOfEra = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofMarchYear = ofEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t marchMonth = (5 * ofMarchYear + 2) / 153;
    const std::int64_t day = ofMarchYear - (153 * marchMonth + 2) / 5 + 1;
    const std::int64_t month = (marchMonth + 2) % 12;
    const std::int64_t year = yearOfEra + era * 400 + (month < 2 ? 1 : 0);

    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    const std::int64_t dayOfYear = month < 2 ? ofMarchYear - 306 : ofMarchYear + 59 + (leap ? 1 : 0);
    const std::int64_t dayOfWeek = ((days + 4) % 7 + 7) % 7;  // 1970-01-01 was a Thursday

    std::array<std::uint8_t, 36> record;
    StoreWords<9>(record,
                  {ofDay % 60, ofDay / 60 % 60, ofDay / 3600, day, month, year - 1900, dayOfWeek, dayOfYear, 0});
    return record;
}
