#include "simulation/kernel/strategy.h"

#include <algorithm>
#include <utility>

namespace simulation {
namespace {

CTask* Highest(const std::vector<CTask*>& ready) {
    return *std::max_element(ready.begin(), ready.end(), [](const CTask* pOne, const CTask* pOther) {
        return pOne->m_nPriority < pOther->m_nPriority;
    });
}

class CRandomStrategy final : public IStrategy {
  public:
    CRandomStrategy(CRandom random, std::uint64_t nStay) : m_random(random), m_nStay(nStay) {}

    void Added(CTask&) override {}
    CTask* Choose(std::uint64_t, const std::vector<CTask*>& ready, CTask* pCurrent, CTask*) override {
        if (pCurrent != nullptr && !std::exchange(m_bYielded, false) && !m_random.OneIn(m_nStay)) {
            return pCurrent;
        }
        return ready[m_random.Below(ready.size())];
    }
    void Yielded(CTask&) override { m_bYielded = true; }
    std::string Name() const override { return "random, one in " + std::to_string(m_nStay); }

  private:
    CRandom m_random;
    const std::uint64_t m_nStay;
    bool m_bYielded = false;
};

class CPriorityStrategy final : public IStrategy {
  public:
    CPriorityStrategy(CRandom random, std::uint32_t nDepth, std::uint64_t nSteps) : m_random(random), m_nDepth(nDepth) {
        for (std::uint32_t i = 1; i < nDepth; ++i) {
            m_vecChanges.push_back(m_random.Below(nSteps) + 1);
        }
        std::sort(m_vecChanges.begin(), m_vecChanges.end());
    }

    void Added(CTask& task) override { task.m_nPriority = static_cast<std::int64_t>(m_random.Below(kRange)) + 1; }
    CTask* Choose(std::uint64_t nStep, const std::vector<CTask*>& ready, CTask* pCurrent, CTask*) override {
        while (m_nNextChange < m_vecChanges.size() && m_vecChanges[m_nNextChange] <= nStep) {
            ++m_nNextChange;
            if (pCurrent != nullptr) {
                pCurrent->m_nPriority = --m_nLowest;
            }
        }
        // A thread that loops without waiting would shut all others out.
        if (pCurrent != nullptr && pCurrent == m_pRunning && ready.size() > 1 && ++m_nAlone > kLongestTurn) {
            pCurrent->m_nPriority = --m_nLowest;
        }
        CTask* const pNext = Highest(ready);
        if (pNext != m_pRunning) {
            m_pRunning = pNext;
            m_nAlone = 0;
        }
        return pNext;
    }
    void Yielded(CTask& task) override { task.m_nPriority = --m_nLowest; }
    std::string Name() const override { return "priorities, depth " + std::to_string(m_nDepth); }

  private:
    static constexpr std::uint64_t kRange = 1U << 30;
    static constexpr std::uint64_t kLongestTurn = 20000;

    CRandom m_random;
    const std::uint32_t m_nDepth;
    std::vector<std::uint64_t> m_vecChanges;
    std::size_t m_nNextChange = 0;
    std::int64_t m_nLowest = 0;
    const CTask* m_pRunning = nullptr;
    std::uint64_t m_nAlone = 0;
};

class CReplayStrategy final : public IStrategy {
  public:
    void Added(CTask&) override {}
    CTask* Choose(std::uint64_t, const std::vector<CTask*>&, CTask*, CTask* pByItself) override { return pByItself; }
    void Yielded(CTask&) override {}
    std::string Name() const override { return "a replay"; }
};

class CBytesStrategy final : public IStrategy {
  public:
    explicit CBytesStrategy(std::vector<unsigned char> bytes)
        : m_bytes(std::move(bytes)), m_source(m_bytes.data(), m_bytes.size()), m_nLeft(m_source.Take()) {}
    CBytesStrategy(const CBytesStrategy&) = delete;
    CBytesStrategy& operator=(const CBytesStrategy&) = delete;

    void Added(CTask&) override {}
    CTask* Choose(std::uint64_t, const std::vector<CTask*>& ready, CTask*, CTask* pByItself) override {
        if (m_source.IsEmpty()) {
            return pByItself;
        }
        if (m_nLeft > 0) {
            --m_nLeft;
            return pByItself;
        }
        CTask* const pNext = ready[m_source.Take() % ready.size()];
        m_nLeft = m_source.Take();
        return pNext;
    }
    void Yielded(CTask&) override {}
    std::string Name() const override { return std::to_string(m_bytes.size()) + " bytes"; }

  private:
    const std::vector<unsigned char> m_bytes;
    CByteSource m_source;
    unsigned m_nLeft;
};

}  // namespace

std::unique_ptr<IStrategy> MakeRandomStrategy(CRandom random, std::uint64_t nStay) {
    return std::make_unique<CRandomStrategy>(random, nStay);
}

std::unique_ptr<IStrategy> MakePriorityStrategy(CRandom random, std::uint32_t nDepth, std::uint64_t nSteps) {
    return std::make_unique<CPriorityStrategy>(random, nDepth, nSteps);
}

std::unique_ptr<IStrategy> MakeBytesStrategy(std::vector<unsigned char> bytes) {
    return std::make_unique<CBytesStrategy>(std::move(bytes));
}

std::unique_ptr<IStrategy> MakeReplayStrategy() {
    return std::make_unique<CReplayStrategy>();
}

}  // namespace simulation
