// Looks at the machine for the doctor. Nothing is opened that another program waits on: no pipe gets a client.
#pragma once

#include <optional>
#include <string>

#include "nexctl/doctor/facts.h"

struct DoctorSubject {
    std::string mark;
    std::optional<std::string> service;  // nothing: that of the helper that runs
    std::optional<std::string> program;  // that of --exe
    std::string ownProgram;              // nexlet.exe beside nexctl.exe
};

DoctorFacts LookAtMachine(const DoctorSubject& subject);
