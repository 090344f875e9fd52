// What there is of a helper on this machine, what is wrong with it, and what to do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

enum class PipeState {
    Missing,  // nobody serves it
    Free,     // served, and nobody is connected
    Busy,     // served, and somebody is
};

struct PipeFact {
    std::string name;
    PipeState state = PipeState::Missing;
    std::uint32_t serverId = 0;  // 0 when the system does not tell
    std::string serverProgram;
};

struct EventFact {
    std::string name;
    bool exists = false;
    bool signalled = false;
};

struct HelperFact {
    std::uint32_t processId = 0;
    std::string program;
    std::string mark;  // of its command line; empty when that cannot be read
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
};

struct LoginFact {
    std::uint32_t seenAt = 0;  // seconds since 1970
    std::uint32_t state = 0;
};

struct DoctorFacts {
    std::string mark;
    std::string service;

    std::string program;
    bool programExists = false;
    bool mutexExists = false;
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

    std::uint32_t debugLog = 0;
    std::uint32_t debugModle = 0;
    std::string logFolder;
    bool logFolderCanBeMade = false;
    std::vector<std::string> logs;

    std::uint32_t now = 0;                        // seconds since 1970
    std::optional<std::uint32_t> lastInfoTime;    // when the remote configuration came, absent when it never did
    std::optional<std::uint32_t> shortcutCreate;  // what it said
    LoginFact wxLogin;
    LoginFact yybLogin;
    bool identityKept = false;
};

struct Finding {
    bool isWrong = false;  // else a note
    std::string what;
    std::string advice;
};

// The most pressing first.
std::vector<Finding> Diagnose(const DoctorFacts& facts);

// The findings for people, each with what to do below it, in lines that a console shows whole.
std::string FindingsText(const std::vector<Finding>& findings);

// Facts and findings as the verb prints them.
Json::Value DoctorReport(const DoctorFacts& facts, const std::vector<Finding>& findings);

// Looks at the machine. The host's pipe is not opened: a client that comes at the wrong moment costs the helper its
// ear. The caller's pipe is, when nobody is connected, as the helper itself does every minute. (Windows alone.)
DoctorFacts LookAtMachine(const std::string& mark, const std::string& service, const std::string& program);
