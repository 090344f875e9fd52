// The helpers that run, and what their windows and handles tell.
#pragma once

#include <string>
#include <vector>

#include "nexctl/doctor/facts.h"

// Every process of this file name, with mark and service of its command line and the dialogs that it shows.
std::vector<HelperFact> LookForHelpers(const std::wstring& fileName);

// Whether one of these processes holds a server's end of the pipe; that one's number is written to holderId. Waits two
// seconds at most. The pipe itself is not opened.
PipeHolder LookForHolder(const std::wstring& pipeName, const std::vector<std::uint32_t>& processIds,
                         std::uint32_t& holderId);
