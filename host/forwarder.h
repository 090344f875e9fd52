// What a second start for the same mark does.
#pragma once

#include <string>

// Hands the command line to the running helper of its mark, through that helper's pipe, and waits briefly for it to be
// taken. Main thread of the second process, which ends right afterwards whatever came of it: the caller of the process
// learns nothing, the log everything. Takes two seconds at least.
//
// A /type: that is no number throws what nothing catches: the process ends.
void ExistzoltExcute(const std::wstring& commandLine);
