// What is wrong with a helper, judged from the facts alone.
#pragma once

#include <string>
#include <vector>

#include "nexctl/doctor/facts.h"

struct Finding {
    const char* code = "";  // stays the same in all versions; docs/troubleshooting.md lists all
    bool isWrong = false;   // else a note
    std::string what;
    std::string advice;
};

// The most pressing first.
std::vector<Finding> Diagnose(const DoctorFacts& facts);
