// Plays the rules against a program.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "nexctl/conformance/rules.h"

struct PlaySettings {
    std::wstring program;             // full path
    std::vector<std::string> worlds;  // the names of what is installed here, by which rules ask for it
    bool worldAlone = false;          // rules that ask for nothing are left out
    std::string only;                 // the beginning of the names of the rules to play; empty: all
    std::uint32_t timeoutMs = 0;      // of a wait; a start gets 10 seconds at least, an exit 30
};

// Plays the rules, each with told called when it is done. Processes run under marks of their own, and are ended.
std::vector<RuleResult> PlayRules(const PlaySettings& settings, const std::function<void(const RuleResult&)>& told);
