// The log file of this process and the steps that turn the log on.
#pragma once

#include "foundation/handle.h"
#include "foundation/windows_headers.h"

// Where the log is written, and what else is kept for a developer. Made without its parent.
inline constexpr wchar_t kLogFolder[] = L"C:\\temp\\zolt";

// Whether the developer's value of this name is there and its four bytes, of whatever type, equal 1.
bool IsDebugValueOn(const wchar_t* name);

// One shared object, made before wWinMain starts. It lives, and its file stays open, until the process ends.
class Log {
  public:
    // Appends one line to the file, in one write of UTF-16 without a byte-order mark, and shows it as debug output,
    // which happens also without a file. Does nothing while the log is off. Any thread; there is no lock.
    void Write(const wchar_t* text) const;

    // Opens the file at path for appending, or leaves the log without a file. One thread, before others log.
    void Open(const wchar_t* path);

  private:
    CFileHandle m_hFile;
};

// Reads the two switches from the registry and, when either is on, sets g_bDebugLog, opens the log file of this
// process and writes the first two lines. A file that cannot be made is not a failure: the debug output still works.
void TurnLogOn();
