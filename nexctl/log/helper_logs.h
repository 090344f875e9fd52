// The logs on this machine: the switch, the folder, the files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nexctl/doctor/facts.h"
#include "nexctl/log/log_choice.h"

// What the registry says. Values that are missing or no number are 0.
struct LogSwitch {
    std::uint32_t nDebugLog = 0;
    std::uint32_t nDebugModle = 0;
    bool IsOn() const { return nDebugLog == 1 || nDebugModle == 1; }
};
LogSwitch ReadLogSwitch();
// Makes later starts of the helper write a log, or not: a running one is what it was started as. False when the
// registry cannot be written.
bool SetLogSwitch(bool on);

// Where the helper writes. It makes the folder itself but not the one above.
std::string LogFolder();
bool LogFolderCanBeMade();
// Makes the folder above, when it is missing.
bool MakeLogFolder();

// A file has the name of the folder, or of the one above it.
bool LogFolderIsFile();
// How many bytes this user may still write where the logs are; nothing when the folder is not there.
std::optional<std::uint64_t> LogDiskFree();

// One of the two values as it is in the registry.
SwitchFact ReadSwitchFact(const wchar_t* name);

// What a file tells of itself: its path, its summary, when it was written. Nothing of a process.
LogFile ReadLogFile(const std::string& path);

// All logs in the folder, the latest written first, each with what its file tells. Of a file of more than 4 MiB only
// the beginning and the end are read for that.
std::vector<LogFile> FindLogs();

// The time of now as a FILETIME, less a span.
std::uint64_t FileTimeBefore(std::uint64_t spanMs);
