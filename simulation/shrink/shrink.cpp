#include "simulation/shrink/shrink.h"

#include <algorithm>
#include <utility>

namespace simulation {
namespace {

// Without a part other threads run, so the failure may need another schedule: so many are tried.
constexpr std::uint64_t kOtherSchedules = 40;

// Leaves parts of a list out, all of it first, then halves, and so on down to one alone. From the end: what is left out
// late in a run leaves what comes before as it was. without tries and, when the run still fails, makes the list
// shorter.
template <typename Size, typename Without>
bool LeaveOutInChunks(const Size& size, const Without& without, const ShrinkSteps& steps) {
    bool bAny = false;
    for (std::size_t nChunk = size(); nChunk > 0 && steps.bMore(); nChunk /= 2) {
        for (std::size_t nEnd = size(); nEnd > 0 && steps.bMore();) {
            const std::size_t nBegin = nEnd > nChunk ? nEnd - nChunk : 0;
            const bool bDone = without(nBegin, nEnd);
            bAny = bAny || bDone;
            nEnd = std::min(nBegin, size());
        }
    }
    return bAny;
}

class CShrinker {
  public:
    CShrinker(Replay failing, const ShrinkSteps& steps) : m_best(std::move(failing)), m_steps(steps) {}

    Replay Run() {
        LeaveOutParts(/*bOtherSchedules=*/true);
        LeaveOutFaults();
        Replay fewerPoints = m_best;
        fewerPoints.nEdges = 0;
        Try(fewerPoints);
        bool bShorter = true;
        while (bShorter && m_steps.bMore()) {
            bShorter = LeaveOutParts(/*bOtherSchedules=*/false);
            bShorter = LeaveOutChoices() || bShorter;
            bShorter = JoinSwitches() || bShorter;
        }
        return std::move(m_best);
    }

  private:
    bool Try(const Replay& candidate) {
        std::optional<Replay> result = m_steps.attempt(candidate);
        if (!result) {
            return false;
        }
        m_best = std::move(*result);
        return true;
    }
    bool TryOtherSchedules(Replay candidate) {
        candidate.bDraws = true;
        candidate.choices.clear();
        for (std::uint64_t i = 1; i <= kOtherSchedules && m_steps.bSearch(); ++i) {
            candidate.nSchedule = m_best.nSchedule + i;
            if (Try(candidate)) {
                return true;
            }
        }
        return false;
    }
    bool LeaveOutParts(bool bOtherSchedules) {
        const auto without = [&](std::size_t nBegin, std::size_t nEnd) {
            Replay candidate = m_best;
            for (std::size_t i = nBegin; i < nEnd; ++i) {
                candidate.off.insert(m_best.parts[i]);
            }
            return Try(candidate) || (bOtherSchedules && TryOtherSchedules(std::move(candidate)));
        };
        return LeaveOutInChunks([&] { return m_best.parts.size(); }, without, m_steps);
    }
    // A world without faults checks more, so it is another failure than with none of them by chance.
    void LeaveOutFaults() {
        Replay candidate = m_best;
        candidate.nFaults = 0;
        std::erase_if(candidate.choices, [](const Choice& choice) { return choice.kind == ChoiceKind::Fault; });
        if (!Try(candidate)) {
            TryOtherSchedules(std::move(candidate));
        }
    }
    bool LeaveOutChoices() {
        const auto without = [&](std::size_t nBegin, std::size_t nEnd) {
            Replay candidate = m_best;
            candidate.choices.erase(candidate.choices.begin() + static_cast<std::ptrdiff_t>(nBegin),
                                    candidate.choices.begin() + static_cast<std::ptrdiff_t>(nEnd));
            return Try(candidate);
        };
        return LeaveOutInChunks([&] { return m_best.choices.size(); }, without, m_steps);
    }
    // A switch to a thread that is left by a later switch becomes one to where that goes.
    bool JoinSwitches() {
        bool bAny = false;
        for (std::size_t i = m_best.choices.size(); i-- > 0 && m_steps.bMore();) {
            if (i >= m_best.choices.size() || m_best.choices[i].kind != ChoiceKind::Switch) {
                continue;
            }
            const auto from = m_best.choices.begin() + static_cast<std::ptrdiff_t>(i);
            const auto left = std::find_if(from + 1, m_best.choices.end(), [&](const Choice& choice) {
                return choice.kind == ChoiceKind::Switch && choice.strThread == from->strValue;
            });
            if (left == m_best.choices.end()) {
                continue;
            }
            Replay candidate = m_best;
            candidate.choices[i].strValue = left->strValue;
            candidate.choices.erase(candidate.choices.begin() + (left - m_best.choices.begin()));
            bAny = Try(candidate) || bAny;
        }
        return bAny;
    }

    Replay m_best;
    const ShrinkSteps& m_steps;
};

}  // namespace

Replay Shrink(Replay failing, const ShrinkSteps& steps) {
    return CShrinker(std::move(failing), steps).Run();
}

}  // namespace simulation
