#include "simulation/kernel/choices.h"

#include <algorithm>
#include <utility>

namespace simulation {
namespace {

constexpr const char* kNames[] = {"switch", "wake", "jump", "fault"};

}  // namespace

void CKeptChoices::Add(Choice choice) {
    const auto after = std::upper_bound(m_choices.begin(), m_choices.end(), choice,
                                        [](const Choice& one, const Choice& other) { return one.nAt < other.nAt; });
    m_choices.insert(after, std::move(choice));
}

bool CKeptChoices::HasAt(std::uint64_t nAt) {
    while (m_nNext < m_choices.size() && m_choices[m_nNext].nAt < nAt) {
        ++m_nNext;
    }
    return m_nNext < m_choices.size() && m_choices[m_nNext].nAt == nAt;
}

const std::string* CKeptChoices::Find(ChoiceKind kind, std::uint64_t nAt) {
    if (!HasAt(nAt)) {
        return nullptr;
    }
    for (std::size_t i = m_nNext; i < m_choices.size() && m_choices[i].nAt == nAt; ++i) {
        if (m_choices[i].kind == kind) {
            return &m_choices[i].strValue;
        }
    }
    return nullptr;
}

ReplayPlan PlanOf(const Choices& choices) {
    ReplayPlan plan;
    for (const Choice& choice : choices) {
        plan[choice.strThread].Add(choice);
    }
    return plan;
}

const char* NameOf(ChoiceKind kind) {
    return kNames[static_cast<std::size_t>(kind)];
}

bool KindOf(std::string_view strName, ChoiceKind& kind) {
    const auto found = std::find(std::begin(kNames), std::end(kNames), strName);
    if (found == std::end(kNames)) {
        return false;
    }
    kind = static_cast<ChoiceKind>(found - std::begin(kNames));
    return true;
}

}  // namespace simulation
