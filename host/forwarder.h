// What a second start for the same mark does.
#pragma once

#include <string>

// Hands the command line to the running helper of its mark. Main thread.
void ExistzoltExcute(const std::wstring& commandLine);
