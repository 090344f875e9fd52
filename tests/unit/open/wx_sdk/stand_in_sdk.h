// A copy of the stand-in WeChat SDK in a folder of the test, and the beacons that are sent.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/stand_in_beside.h"

class CStandInSdk : public CStandInBeside {
  public:
    CStandInSdk(const char* variant, const std::filesystem::path& folder);
    std::filesystem::path Library() const { return Folder() / L"ocean.dll"; }
};

// The beacons since the last take, each with its flag. Nothing leaves the process.
using Beacon = std::pair<std::wstring, bool>;
std::vector<Beacon> TakeBeacons();
