// The helpers that run, as "nexctl helpers" tells them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

struct ServiceState {
    std::string id;
    bool connected = false;  // the helper has the caller's pipe open

    bool operator==(const ServiceState&) const = default;
};

struct RunningHelper {
    std::uint32_t processId = 0;
    std::string mark;     // empty when the command line cannot be read
    std::string program;  // the path
    std::string version;  // "1.0.0.0"; empty without a version record
    std::vector<ServiceState> services;
    std::optional<bool> serves;  // it has the host's pipe; a second start has not. Nothing: its handles cannot be read
    std::optional<std::uint64_t> ageSeconds;
    std::string log;  // the path; empty when it writes none
};

// The services of a helper: those whose pipe it has open, in their order, then those that its command line or its log
// names and that are not among them.
std::vector<ServiceState> MergeServices(const std::vector<std::string>& connected,
                                        const std::vector<std::string>& told);

// The service ids of the pipes that begin with prefix, which is the name of a service's pipe up to its id. Names of
// pipes are compared without regard to the case of ASCII letters.
std::vector<std::string> ServicesOfPipes(const std::vector<std::string>& pipes, const std::string& prefix);

// "12 s", "5 min", "3 h 20 min", "2 d 4 h".
std::string AgeText(std::uint64_t seconds);

// {"helpers":[...]}
Json::Value HelpersRecord(const std::vector<RunningHelper>& helpers);

// A table for people, a line a helper; "no helper runs" without any.
std::string HelpersText(const std::vector<RunningHelper>& helpers);
