// What a stand-in of the world keeps in its folder: its settings, and the calls it received.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

class CStandInBeside {
  public:
    // The stand-in is in folder, which exists, and its name is name.
    CStandInBeside(const std::filesystem::path& folder, const std::wstring& name);

    // Sets one line of its settings.
    void Set(const wchar_t* key, const std::wstring& value);
    // Changes the last letter of a text wherever it is alone in one of its files: of the name of an export, which
    // the file then lacks.
    void BreakText(const wchar_t* file, const std::string& text) const;
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
