// The files of the stand-in YYB SDK in a folder of the test.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class CStandInYyb {
  public:
    // Puts a whole, good SDK there.
    explicit CStandInYyb(const std::filesystem::path& folder);

    // Puts another variant of one file in its place; "" takes it away.
    void Replace(const wchar_t* file, const char* variant);
    // Sets one line of its pcyyb.ini.
    void Set(const wchar_t* key, const std::wstring& value);
    // The calls it got so far.
    std::vector<std::string> Calls() const;
    // Those that begin with name.
    std::vector<std::string> Calls(const std::string& name) const;
    bool WaitForCall(const std::string& call) const;
    const std::filesystem::path& Folder() const { return m_folder; }

  private:
    std::filesystem::path m_folder;
};
