// The helpers that run, and what their windows and handles tell.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nexctl/doctor/facts.h"

// The session of this process; nothing when the system does not tell.
std::optional<std::uint32_t> OwnSession();

// Every process of this file name, with mark and service of its command line, the dialogs that it shows, and whether
// its session is another than ownSession. Where the system does not tell a session, it is not another one.
std::vector<HelperFact> LookForHelpers(const std::wstring& fileName,
                                       std::optional<std::uint32_t> ownSession = OwnSession());

// Whether one of these processes holds a server's end of the pipe; that one's number is written to holderId. The pipe
// itself is not opened.
PipeHolder LookForHolder(const std::wstring& pipeName, const std::vector<std::uint32_t>& processIds,
                         std::uint32_t& holderId);

// The pipes that a process has an end of, as full names.
struct HeldPipes {
    bool read = false;  // all handles of the process were looked at
    std::vector<std::wstring> served;
    std::vector<std::wstring> connected;  // as a client
};

// Looks through the handles of a process. Stops when one of them takes more than two seconds. No pipe is opened.
HeldPipes LookForPipes(std::uint32_t processId);
