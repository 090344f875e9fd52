// The processes of a world.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "world/program/journal.h"

// Starts program with these arguments and an event that ends it, and returns once it is ready. remember is called
// before the process takes its first step; when it gives false the process never does. An empty text, or what failed.
std::string StartWorldProcess(const std::filesystem::path& program, const std::wstring& arguments,
                              const std::function<bool(const JournalEntry&)>& remember);

// Asks the entry's process to end, and ends it when it does not. False when it is still there.
bool EndWorldProcess(const JournalEntry& entry);

// Ends every process whose program is below the folder. False when one still runs.
bool EndProcessesBelow(const std::filesystem::path& folder);
