// Asks the helper of a mark to let all its services go, and waits until nothing runs from its file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "client/caller_result.h"
#include "client/deadline.h"
#include "foundation/windows_headers.h"

// Asks on the host's pipe, on one connection, to let each of these services go. Ok: the system has taken all requests.
CallerResult AskToLetGo(const std::wstring& mark, const std::vector<std::string>& services, const CDeadline& deadline,
                        DWORD& systemError);

enum class FileHold {
    Free,      // it may be overwritten and removed, as far as other programs go
    Held,      // a process runs from it, or has it open
    NotThere,  // there is no such file
};
FileHold LookAtHold(const std::wstring& path);
// Waits until the file is not held; false when it still is at the deadline.
bool WaitUntilFree(const std::wstring& path, const CDeadline& deadline);
