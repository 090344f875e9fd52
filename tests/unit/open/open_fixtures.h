// What the tests of the open floor share: folders, the stand-in SDK, processes, and recorded beacons.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/handle.h"
#include "foundation/windows_headers.h"

// Where the stand-in world was built.
std::filesystem::path WorldFolder();

// A text that no other test of this machine uses.
std::wstring UniqueName(const wchar_t* stem);

// Polls until the condition holds; false after ten seconds.
bool WaitUntil(const std::function<bool()>& condition);

// A folder of its own, gone at the end.
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

// A named event that nobody else uses, not signalled.
class CTestEvent {
  public:
    CTestEvent();
    const std::wstring& Name() const { return m_strName; }
    void Set() { SetEvent(m_hEvent.get()); }
    bool Wait() { return WaitForSingleObject(m_hEvent.get(), 10000) == WAIT_OBJECT_0; }

  private:
    std::wstring m_strName;
    CKernelHandle m_hEvent;
};

// A copy of one variant of the stand-in SDK in a folder.
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

// The beacons sent since the last take, with their flag.
using Beacon = std::pair<std::wstring, bool>;
std::vector<Beacon> TakeBeacons();

// One value under HKEY_LOCAL_MACHINE or HKEY_CURRENT_USER for the length of a test. The key and everything above it
// that was not there before is deleted at the end.
class CRegistryValue {
  public:
    CRegistryValue(HKEY root, const std::wstring& key, const wchar_t* name, REGSAM view, DWORD type,
                   const std::vector<std::uint8_t>& data);
    ~CRegistryValue();
    CRegistryValue(const CRegistryValue&) = delete;
    CRegistryValue& operator=(const CRegistryValue&) = delete;

  private:
    HKEY m_hRoot;
    std::wstring m_strKey;
    std::wstring m_strName;
    REGSAM m_nView;
};

// The bytes of a registry text with its terminator.
std::vector<std::uint8_t> TextBytes(const std::wstring& text);

// Runs a program to its end and gives its exit code.
std::uint32_t RunToEnd(const std::filesystem::path& program, const std::wstring& arguments);
