// Numbers that a seed decides, or bytes that somebody has chosen.
#pragma once

#include <cstddef>
#include <cstdint>

namespace simulation {

// Bytes that are taken one after the other; zeros when there are no more. They outlive it.
class CByteSource {
  public:
    CByteSource(const unsigned char* pBytes, std::size_t nSize) : m_pBytes(pBytes), m_nSize(nSize) {}
    unsigned char Take() { return m_nNext < m_nSize ? m_pBytes[m_nNext++] : 0; }
    bool IsEmpty() const { return m_nNext == m_nSize; }

  private:
    const unsigned char* const m_pBytes;
    const std::size_t m_nSize;
    std::size_t m_nNext = 0;
};

// The same seed and stream give the same numbers everywhere. Streams of one seed are independent of each other, so that
// drawing more of one thing leaves the others as they are.
class CRandom {
  public:
    CRandom(std::uint64_t nSeed, std::uint64_t nStream) : m_nState(nSeed * 0x9E3779B97F4A7C15U + nStream) {
        Next();
        Next();
    }

    // Draws take what bytes has next, those of copies too. It outlives them.
    explicit CRandom(CByteSource& bytes) : m_nState(0), m_pBytes(&bytes) {}

    // splitmix64
    std::uint64_t Next() {
        if (m_pBytes != nullptr) {
            return FromBytes(~std::uint64_t{0});
        }
        std::uint64_t n = m_nState += 0x9E3779B97F4A7C15U;
        n = (n ^ (n >> 30)) * 0xBF58476D1CE4E5B9U;
        n = (n ^ (n >> 27)) * 0x94D049BB133111EBU;
        return n ^ (n >> 31);
    }
    // 0 to nLimit - 1; 0 for a limit of 0.
    std::uint64_t Below(std::uint64_t nLimit) {
        if (nLimit == 0) {
            return 0;
        }
        return m_pBytes != nullptr ? FromBytes(nLimit - 1) % nLimit : Next() % nLimit;
    }
    // Once in n on average, never for 0.
    bool OneIn(std::uint64_t n) { return n != 0 && Below(n) == 0; }

  private:
    // As many bytes as a number up to nMost has.
    std::uint64_t FromBytes(std::uint64_t nMost) {
        std::uint64_t nValue = 0;
        for (; nMost != 0; nMost >>= 8) {
            nValue = nValue << 8 | m_pBytes->Take();
        }
        return nValue;
    }

    std::uint64_t m_nState;
    CByteSource* m_pBytes = nullptr;
};

}  // namespace simulation
