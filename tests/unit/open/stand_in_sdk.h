// A copy of the stand-in WeChat SDK in a folder of the test, and the beacons sent meanwhile.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

class CStandInSdk {
  public:
    CStandInSdk(const char* variant, const std::filesystem::path& folder);
    // Sets one line of its ocean.ini.
    void Set(const wchar_t* key, const std::wstring& value);
    // The calls it got so far.
    std::vector<std::string> Calls() const;
    bool WaitForCall(const std::string& call) const;
    const std::filesystem::path& Library() const { return m_library; }

  private:
    std::filesystem::path m_library;
};

// The beacons since the last take, each with its flag. Nothing leaves the process.
using Beacon = std::pair<std::wstring, bool>;
std::vector<Beacon> TakeBeacons();
