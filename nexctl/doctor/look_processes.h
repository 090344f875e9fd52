// The helpers that run, and what their windows and handles tell.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nexctl/doctor/facts.h"

// Every process of this file name, with mark and service of its command line and the dialogs that it shows.
std::vector<HelperFact> LookForHelpers(const std::wstring& fileName);

// Whether one of these processes holds a server's end of the pipe; that one's number is written to holderId. Takes two
// seconds at most for each. The pipe itself is not opened.
PipeHolder LookForHolder(const std::wstring& pipeName, const std::vector<std::uint32_t>& processIds,
                         std::uint32_t& holderId);

// The pipes that a process has an end of, as full names.
struct HeldPipes {
    bool read = false;  // all handles of the process were looked at
    std::vector<std::wstring> served;
    std::vector<std::wstring> connected;  // as a client
};

// Looks through the handles of a process, for two seconds at most. No pipe is opened.
HeldPipes LookForPipes(std::uint32_t processId);
