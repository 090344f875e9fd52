// Handing a command line to the helper of a mark that runs already, as a second start does, without starting a process.
#pragma once

#include <string>

#include "client/caller_result.h"
#include "client/deadline.h"
#include "client/helper_start.h"

// Ok: the helper has taken the command line over; process is the helper's, as far as the system tells. Anything else:
// there is no helper, or it could not be reached, and the program is to be started, which tries for longer.
CallerResult ForwardCommandLine(const std::wstring& strMark, const std::wstring& commandLine, const CDeadline& deadline,
                                StartedProcess& process);
