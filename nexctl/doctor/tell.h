// The doctor's words, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "nexctl/doctor/facts.h"
#include "nexctl/doctor/judge.h"

// The findings for people, each with its code and what to do below it, in lines of at most 80 columns; a word that is
// longer, a path, stays whole.
std::string FindingsText(const std::vector<Finding>& findings);

// Facts and findings as the verb prints them.
Json::Value DoctorReport(const DoctorFacts& facts, const std::vector<Finding>& findings);

// For monitoring: the mark, the service, how many findings there are of either kind, and their codes.
Json::Value DoctorSummary(const DoctorFacts& facts, const std::vector<Finding>& findings);
