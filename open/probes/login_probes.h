// Whether the user of a target is logged in, seen from its processes and its registry marks. Every failure counts as
// no. Any thread; nothing is kept in memory.
#pragma once

#include "open/probes/login_rules.h"
#include "open/probes/process_command_line.h"

// Sets run when the mini-program application runs, and login when one of its runtime's processes renders. Both must be
// false before the call. Walks the list of processes and opens those of the runtime's name alone, and none where no
// command line can be read.
void GetWxRunState(bool& run, bool& login, const ProcessMemoryApi& api = SystemProcessMemoryApi());

// The login answer for the mini-program application. Writes the cache when the application runs or is missing.
bool CheckWxMiniProgramIntalled(const ProcessMemoryApi& api = SystemProcessMemoryApi());

// The caches in the registry. A value that cannot be read is 0; a failed write is not noticed.
void WriteWxLoginCache(const LoginCache& cache);
void ReadWxLoginCache(LoginCache& cache);
void WriteYybLoginCache(const LoginCache& cache);
void ReadYybLoginCache(LoginCache& cache);
