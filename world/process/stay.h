// What every stand-in process has in common: it signals when it is ready, and it runs until it is asked to stop.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

class CStay {
  public:
    // Takes the word at index, and what belongs to it, when it is one of "--stop EVENT", "--ready EVENT" and
    // "--parent PID"; index is then the last word taken.
    bool Take(const std::vector<std::wstring>& words, std::size_t& index);

    // 0, or the exit code of a process that cannot begin: an event or a process that cannot be opened, or nothing that
    // could ever stop it.
    int Begin() const;

    // Sets the ready event; false when there is none of that name.
    bool SayReady() const;

    // Returns when a stop event is set or the parent has ended. Until then it dispatches the messages of this thread,
    // or leaves them in the queue.
    void Stay(bool bDispatches) const;

  private:
    std::vector<HANDLE> m_vecEnds;  // open to the end of the process
    std::wstring m_strReady;
};

// The words of this process's command line, the program itself first.
std::vector<std::wstring> CommandLineWords();

// A window of its own class, for messages alone when there is no desktop: it is found by class and title all the same.
HWND MakeWindow(const std::wstring& className, const std::wstring& title, WNDPROC procedure);
