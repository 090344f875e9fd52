// Which system calls fail.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "simulation/kernel/random.h"

namespace simulation {

// Draws from a stream of its own, so that the same seed without faults has the same schedule up to the first fault.
class CFaults {
  public:
    // One call in nOneIn fails, of those that can. 0: none.
    CFaults(std::uint64_t nSeed, std::uint64_t nOneIn) : m_random(nSeed, kStream), m_nOneIn(nOneIn) {}

    // One of errors, or 0.
    std::uint32_t Draw(std::string_view strCall, std::initializer_list<std::uint32_t> errors) {
        if (m_nOneIn == 0 || errors.size() == 0 || !m_random.OneIn(m_nOneIn)) {
            return 0;
        }
        const std::uint32_t nError = errors.begin()[m_random.Below(errors.size())];
        ++m_counts[{std::string(strCall), nError}];
        return nError;
    }

    bool IsNever() const { return m_nOneIn == 0; }
    // How often each call has failed with each error.
    const std::map<std::pair<std::string, std::uint32_t>, std::uint64_t>& Counts() const { return m_counts; }

    // No faults in the calls of the calling simulated thread for the length of a scope: in what a test itself does.
    class CHold {
      public:
        CHold();
        ~CHold();
        CHold(const CHold&) = delete;
        CHold& operator=(const CHold&) = delete;
    };

  private:
    static constexpr std::uint64_t kStream = 3;

    CRandom m_random;
    const std::uint64_t m_nOneIn;
    std::map<std::pair<std::string, std::uint32_t>, std::uint64_t> m_counts;
};

extern CFaults* g_pFaults;

}  // namespace simulation
