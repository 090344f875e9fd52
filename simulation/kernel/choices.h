// What a run chose where it had a choice, so that it can be repeated, with some of the choices left out.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace simulation {

enum class ChoiceKind {
    Switch,  // to the thread of this path, where another would have gone on by itself
    Wake,    // the waiting thread of this path, where several wait and one is woken
    Jump,    // time jumps to the next end of a wait although threads can run
    Fault,   // the call fails with this error
};

// A choice that differs from what happens by itself. A place in a run is a thread and how many choices that thread has
// come to before. So it stays the same place when choices of other threads are left out.
struct Choice {
    ChoiceKind kind;
    std::string strThread;  // CTask::m_strPath
    std::uint64_t nAt;      // CTask::m_nPosition
    std::string strValue;   // a path or an error; empty for a jump

    bool operator==(const Choice&) const = default;
};
using Choices = std::vector<Choice>;

// The kept choices of one thread, in the order of their places.
class CKeptChoices {
  public:
    void Add(Choice choice);
    // Whether there is one at this place. Places are asked for in rising order.
    bool HasAt(std::uint64_t nAt);
    // The value of the one of this kind at this place, or null.
    const std::string* Find(ChoiceKind kind, std::uint64_t nAt);

  private:
    std::vector<Choice> m_choices;
    std::size_t m_nNext = 0;
};

// By the path of the thread.
using ReplayPlan = std::map<std::string, CKeptChoices>;
ReplayPlan PlanOf(const Choices& choices);

// "switch", "wake", "jump" or "fault".
const char* NameOf(ChoiceKind kind);
bool KindOf(std::string_view strName, ChoiceKind& kind);

}  // namespace simulation
