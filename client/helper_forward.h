// Handing a command line to the helper of a mark that runs already, as a second start does, without starting a process.
#pragma once

#include <functional>
#include <string>

#include "client/caller_result.h"
#include "client/deadline.h"
#include "client/helper_start.h"

// The session of this process.
DWORD OwnSession();

// Ok: the helper has taken the command line over; process is the helper's, as far as the system tells. Anything else:
// there is no helper of this session, or it could not be reached, and the program is to be started, which tries for
// longer. Pipe names are one set for all sessions of the machine: a helper of another session, whose windows would
// not be seen here, is sent nothing. reached is called once it is connected to, before it is sent anything.
CallerResult ForwardCommandLine(const std::wstring& strMark, const std::wstring& commandLine, const CDeadline& deadline,
                                StartedProcess& process, DWORD ownSession = OwnSession(),
                                const std::function<void()>& reached = {});

// Asks the helper of this mark to let a service go that it still holds from an earlier run. It does so at its next look
// after 2 seconds, within 12. Ok means that the system has taken the request.
CallerResult ReleaseService(const std::wstring& strMark, const std::string& strServiceId, const CDeadline& deadline,
                            DWORD ownSession = OwnSession());
