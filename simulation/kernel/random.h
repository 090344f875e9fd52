// Numbers that a seed decides.
#pragma once

#include <cstdint>

namespace simulation {

// The same seed and stream give the same numbers everywhere. Streams of one seed are independent of each other, so that
// drawing more of one thing leaves the others as they are.
class CRandom {
  public:
    CRandom(std::uint64_t nSeed, std::uint64_t nStream) : m_nState(nSeed * 0x9E3779B97F4A7C15U + nStream) {
        Next();
        Next();
    }

    // splitmix64
    std::uint64_t Next() {
        std::uint64_t n = m_nState += 0x9E3779B97F4A7C15U;
        n = (n ^ (n >> 30)) * 0xBF58476D1CE4E5B9U;
        n = (n ^ (n >> 27)) * 0x94D049BB133111EBU;
        return n ^ (n >> 31);
    }
    // 0 to nLimit - 1; 0 for a limit of 0.
    std::uint64_t Below(std::uint64_t nLimit) { return nLimit == 0 ? 0 : Next() % nLimit; }
    // Once in n on average, never for 0.
    bool OneIn(std::uint64_t n) { return n != 0 && Below(n) == 0; }

  private:
    std::uint64_t m_nState;
};

}  // namespace simulation
