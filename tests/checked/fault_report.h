// What a checked test program says before it ends: one line with the fault, then the stacks, as places in its modules.
// tools/wine/run adds function, file and line to each place.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/windows_headers.h"

// The innermost callers of a function, innermost first; null after the last. Eight are kept: the first ones are often
// in the standard library.
struct CCallers {
    static constexpr std::size_t kCount = 8;
    void* addresses[kCount] = {};
};

// The callers of the caller. Allocates nothing.
CCallers CallersHere();

// A text of limited length that allocates nothing: what follows when it is full is left out.
class CReportText {
  public:
    CReportText& Add(const char* text);
    CReportText& AddNumber(std::uint64_t number);
    CReportText& AddHex(std::uint64_t number);
    // A line for each caller, after a line with the title.
    CReportText& AddCallers(const char* title, const CCallers& callers);
    // A line for each function on the stack at a fault.
    CReportText& AddStack(const CONTEXT& context);
    // Writes the text to the standard error output, and adds it to the file that NEXLET_FAULT_REPORTS in the
    // environment names: nobody may read the output of a program that a test starts, or wait for its exit code.
    void Write() const;

  private:
    void AddPlace(const char* word, const void* address);

    static constexpr std::size_t kSize = 8192;
    char m_text[kSize];
    std::size_t m_nLength = 0;
};

// Says what an instruction that traps stands for and ends the process with the exception's code. Installed once, before
// the first code that can trap; any thread.
void InstallTrapReport();
