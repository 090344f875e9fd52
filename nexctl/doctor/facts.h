// What there is of a helper on a machine, as the doctor has seen it. No judgement.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nexctl/log/log_summary.h"

enum class PipeState {
    Missing,  // not served
    Free,     // served, without a client
    Busy,     // served, with a client
};

// Whether the process of this mark holds the server's end of the host's pipe.
enum class PipeHolder {
    NotTold,  // its handles cannot be read
    Helper,
    Stranger,
};

struct PipeFact {
    std::string name;
    PipeState state = PipeState::Missing;
    PipeHolder holder = PipeHolder::NotTold;
    std::uint32_t serverId = 0;  // of the helper that holds it
    std::string serverProgram;
};

struct EventFact {
    std::string name;
    bool exists = false;
    bool signalled = false;
    bool denied = false;  // it exists, but this process may not open it as helper and callers do
};

struct HelperFact {
    std::uint32_t processId = 0;
    std::string program;
    std::string mark;      // of its command line; empty when that cannot be read
    std::string service;   // likewise
    std::string hostPipe;  // the names that follow from them
    std::string servicePipe;
    std::vector<std::string> dialogs;  // the titles of its dialogs that are shown
    bool otherSession = false;         // it runs in another session than this process
};

struct FileFact {
    std::string path;
    bool exists = false;
    std::string version;  // "1.0.345.0"; empty without a version record
    std::string signer;   // the common name; empty without a signature
    bool mustBeSigned = false;
    bool trusted = false;  // the signer bears the publisher's name
    bool mustBeNew = false;
    bool isNew = false;
    bool mustBeLibrary = false;
    bool isLibrary = false;
    bool is64Bit = false;
    std::vector<std::string> missingExports;  // of those that the helper needs
};

struct LoginFact {
    std::uint32_t seenAt = 0;  // seconds since 1970
    std::uint32_t state = 0;
};

// A value that a helper reads as four bytes of any type.
struct SwitchFact {
    bool exists = false;
    bool isNumber = false;
    std::uint32_t value = 0;
};

struct LogFact {
    std::string path;
    bool running = false;
    LogSummary summary;
    std::int64_t silentMs = 0;  // since its last line, as far as the time of day tells
};

// The newest second start of this mark whose command line nobody took.
struct LostStartFact {
    std::string path;  // of its log
    std::uint64_t secondsAgo = 0;
};

struct DoctorFacts {
    std::string mark;
    std::string service;

    std::string program;  // the running helper's, or that beside nexctl.exe, or that of --exe
    bool programExists = false;
    bool mutexExists = false;
    bool mutexDenied = false;  // it exists, but this process may not open it as a helper does
    std::string mutexName;
    PipeFact hostPipe;
    PipeFact servicePipe;
    EventFact hostGate;
    EventFact serviceGate;
    EventFact readyEvent;
    std::vector<HelperFact> helpers;  // of any mark

    bool miniProgramInstalled = false;
    bool wechatInstalled = false;
    bool yybInstalled = false;
    std::vector<FileFact> wxSdk;   // the files that the mini-program route loads
    std::vector<FileFact> yybSdk;  // those of the YYB route; empty when its folder is not there

    SwitchFact debugLog;
    SwitchFact debugModle;
    std::string logFolder;
    bool logFolderCanBeMade = false;
    bool logFolderIsFile = false;
    std::optional<std::uint64_t> logDiskFree;  // bytes
    std::vector<std::string> logs;
    std::optional<LogFact> log;  // the newest of this mark, but for those of second starts when there is another
    std::optional<LostStartFact> lostStart;

    std::uint32_t now = 0;                        // seconds since 1970
    std::optional<std::uint32_t> lastInfoTime;    // when the remote configuration came, absent when it never did
    std::optional<std::uint32_t> shortcutCreate;  // what it said
    std::string infoHost;                         // where it is asked for
    LoginFact wxLogin;
    LoginFact yybLogin;
    bool identityKept = false;

    bool LogIsOn() const {
        return (debugLog.exists && debugLog.value == 1) || (debugModle.exists && debugModle.value == 1);
    }
};
