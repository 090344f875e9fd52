// Libraries that stay loaded once they are.
#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "foundation/handle.h"

// Owns one reference for each library that it was given, and gives none of them up before its own end: calls into any
// of them may be under way. One thread at a time.
class CKeptModules {
  public:
    void Keep(CModule module) {
        const bool bKnown =
            std::ranges::any_of(m_vecModules, [&](const CModule& kept) { return kept.get() == module.get(); });
        if (!bKnown) {
            m_vecModules.push_back(std::move(module));
        }
    }

  private:
    std::vector<CModule> m_vecModules;
};
