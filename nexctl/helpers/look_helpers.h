// Looks for the helpers that run. Nothing is disturbed: no pipe gets a client.
#pragma once

#include <string>
#include <vector>

#include "nexctl/helpers/helper_list.h"

// Every process of this file name, the oldest first.
std::vector<RunningHelper> FindRunningHelpers(const std::wstring& fileName);
