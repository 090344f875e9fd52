// A folder for the length of a scope.
#pragma once

#include <filesystem>

// Made under the user's temporary folder with a name of its own; gone at the end, which fails the test when something
// in it is still in use.
class CTempFolder {
  public:
    CTempFolder();
    ~CTempFolder();
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

  private:
    std::filesystem::path m_path;
};
