// What a bundle holds of a machine beside what the doctor says.
#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "nexctl/doctor/facts.h"

// Path, size, version and SHA-256 of each file; a file that cannot be read has a "problem" instead.
Json::Value DescribeFiles(const std::vector<std::string>& paths);

// The values in the registry that helpers write or read for this user. The identity is masked unless it is asked for.
Json::Value DescribeRegistry(bool withContents);

// The version of the system, and of nexctl itself.
Json::Value DescribeSystem();

// The pipes that each helper serves, and those that it is connected to.
Json::Value DescribePipes(const std::vector<HelperFact>& helpers);
