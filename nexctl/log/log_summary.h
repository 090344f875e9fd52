// What a helper's log tells about its process as a whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nexctl/log/log_lines.h"

enum class LogEnd {
    NotTold,     // the last line is one of ordinary work: the process runs, was killed, or has crashed
    Orderly,     // no service was left, or the window was closed
    HandedOver,  // a second start: its command line was taken by the helper that runs
    LostStart,   // a second start whose command line was not taken
    Exception,   // an uncaught exception
    HangWatch,   // the window did not answer
    CpuWatch,    // too much of the processor
};

// A request that has no reply and no refusal in the log.
struct OpenRequest {
    int nType = 0;  // 0 when no line tells it
    std::int64_t nTimeMs = 0;
    std::string strMessage;  // the payload as the log has it, possibly cut
};

struct LogSummary {
    std::string strProgram;  // the path of the program
    std::string strMark;
    std::vector<std::string> services;      // in the order of their first lines
    std::vector<std::string> liveServices;  // those of them that were not let go
    std::int64_t nFirstMs = 0;              // as in LogLine, of the latest process of the file
    std::int64_t nLastMs = 0;
    std::string strLastText;
    bool bTorn = false;  // the file does not end with a line end
    LogEnd end = LogEnd::NotTold;
    std::string strException;  // of Exception
    std::vector<OpenRequest> openRequests;
    std::optional<LogLine> lastRefusal;
};

// Of the latest process that wrote the file whose bytes these are.
LogSummary SummariseLog(std::string_view bytes);

// The end in a few words, for example "ended: no service was left".
std::string LogEndText(const LogSummary& summary, bool running);
