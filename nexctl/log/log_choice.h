// Which of the logs on a machine is meant.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nexctl/log/log_summary.h"

struct LogFile {
    std::string strPath;
    std::uint32_t nProcessId = 0;
    std::uint64_t nBytes = 0;
    std::uint64_t nWrittenAt = 0;  // a FILETIME
    std::string strDate;           // the same as "2026-11-22", by the clock of this place; empty when it is not known
    bool bRunning = false;         // its process runs: the same id and the same program
    LogSummary summary;
};

struct LogWish {
    std::optional<std::string> strMark;
    std::optional<std::string> strService;
    std::vector<std::uint32_t> processIds;       // none: any
    std::optional<std::uint64_t> nWrittenSince;  // a FILETIME
};

// The logs that fit, the latest written first; those of second starts that handed over come last, since little is in
// them.
std::vector<LogFile> ChooseLogs(std::vector<LogFile> files, const LogWish& wish);

// "C:\temp\zolt\Nexlet7.log: process 7, mark "m", services a, b, from 8:19:42:615, last line 8:19:52:794 on 2026-11-22,
// runs"
std::string LogFileText(const LogFile& file);

// A span of time such as "90s", "15m", "2h" or "7d" in milliseconds; nothing for any other text.
std::optional<std::uint64_t> ReadSpan(std::string_view text);

// A size such as "200KB", "50MB", "1GB" or "512" in bytes; nothing for any other text. A kilobyte has 1024 bytes.
std::optional<std::uint64_t> ReadSize(std::string_view text);
