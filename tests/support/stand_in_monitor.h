// The stand-in monitor program in a process of its own. There is one window of its class for a whole Wine prefix, so
// tests that use it run one at a time there.
#pragma once

#include <filesystem>
#include <vector>

#include <json/value.h>

#include "tests/support/stand_in_process.h"

class CStandInMonitor {
  public:
    enum class Mood { Answers, Hangs };

    // folder takes the program and what it records.
    explicit CStandInMonitor(const std::filesystem::path& folder, Mood mood = Mood::Answers);

    // What came so far, decoded as world/README.md says.
    std::vector<Json::Value> Notices() const;

  private:
    const std::filesystem::path m_out;
    CStandInProcess m_process;
};
