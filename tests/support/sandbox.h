// A folder of its own for a helper under test: the program, the SDK beside it, and what the registry says.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

class CSandbox {
  public:
    // Makes C:\temp\nexlet_NAME\app\bin\nexlet.exe, a copy of the program beside the test program.
    CSandbox();
    // Ends every process of the copy, and removes the folder as far as nothing in it is in use.
    ~CSandbox();
    CSandbox(const CSandbox&) = delete;
    CSandbox& operator=(const CSandbox&) = delete;

    const std::wstring& Exe() const { return m_strExe; }
    // Two levels above the program's path: where the SDK folders are.
    const std::wstring& SdkPath() const { return m_strApp; }

    // Copies a variant of the stand-in SDK to where a helper looks for it: in "wxsdk", or, for a mark that contains
    // "ml", in the SDK path itself.
    void LayOcean(const std::wstring& variant, bool mlHost = false);
    // Sets one line of its ocean.ini.
    void SetOcean(const wchar_t* key, const std::wstring& value);
    // The calls that the stand-in SDK received, one a line.
    std::string OceanCalls() const;

    void EndPrograms() const;

    // Whether everything was made; a test stops when not.
    bool Ready() const { return m_bReady; }

  private:
    std::wstring m_strRoot;
    std::wstring m_strApp;
    std::wstring m_strExe;
    std::wstring m_strOceanFolder;
    bool m_bReady = false;
};

// The folder of the running program, without a backslash at the end.
std::wstring OwnFolder();

// The machine-wide uninstall entry by which the mini-program application counts as installed.
bool LayMiniProgramInstalled();
// The switch of the helper's log.
bool SwitchHelperLogOn();
