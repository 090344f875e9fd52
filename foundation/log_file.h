// The log file of this process and the steps that turn the log on.
#pragma once

#include <string>

#include "foundation/windows_headers.h"

// One shared object, made before wWinMain starts and kept to the process's end; the file is never closed.
class Log {
  public:
    // Appends one line (local time, tab, text, CR LF, UTF-16) to the file and shows it as debug output, which happens
    // also without a file. Does nothing while the log is off. Any thread: each line reaches the file in one write, but
    // m_szTime is shared scratch, so two threads at once can mix their time texts. That is accepted for a trace.
    void Write(const wchar_t* text);

    // Opens the file at path for appending, or leaves the log without a file. One thread, before others log.
    void Open(const wchar_t* path);

  private:
    HANDLE m_hFile = INVALID_HANDLE_VALUE;
    wchar_t m_szTime[32] = {};
};

// Reads the two switches from the registry and, when either is on, sets g_bDebugLog, opens the log file of this
// process and writes the first two lines. A file that cannot be made is no failure: the debug output still works.
void TurnLogOn();
