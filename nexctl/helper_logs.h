// The logs on this machine: the switch, the folder, the files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

struct LogFile {
    std::string strPath;
    std::uint32_t nProcessId = 0;
    std::uint64_t nBytes = 0;
    std::uint64_t nWrittenAt = 0;  // a FILETIME
    bool bRunning = false;         // a process of this id runs, a helper or not
};
// The newest first.
std::vector<LogFile> FindLogs();
