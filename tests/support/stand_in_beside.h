// What a stand-in of the world keeps beside its file: its settings, and the calls it has got.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class CStandInBeside {
  public:
    // The stand-in lies in folder, which is there, and calls itself name.
    CStandInBeside(const std::filesystem::path& folder, const std::wstring& name);

    // Sets one line of its settings.
    void Set(const wchar_t* key, const std::wstring& value);
    // The calls it got so far.
    std::vector<std::string> Calls() const;
    // Those that begin with name.
    std::vector<std::string> Calls(const std::string& name) const;
    // Waits until it has got this call.
    bool WaitForCall(const std::string& call) const;
    const std::filesystem::path& Folder() const { return m_folder; }

  private:
    std::filesystem::path m_folder;
    std::wstring m_strName;
};
