// Reads the log file that a running helper writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/windows_headers.h"

class CHelperLog {
  public:
    explicit CHelperLog(DWORD dwProcessId);

    // The lines of the process's latest run, in UTF-8, without time: "[Function(line)] text". Empty without a file.
    std::vector<std::string> Lines() const;
    // How many lines are exactly text after their "[Function(line)]" and one blank, or are exactly text without a
    // prefix. A text that begins with "]" follows its prefix without a blank.
    std::size_t Count(std::string_view text) const;
    bool Has(std::string_view text) const { return Count(text) > 0; }
    // The first line that contains part, or an empty text.
    std::string Find(std::string_view part) const;
    // Every line that contains part.
    std::vector<std::string> FindAll(std::string_view part) const;
    // Whether lines that contain these parts follow each other in this order, with any lines between them. The
    // first part that does not come in its turn, or an empty text.
    std::string FirstOutOfOrder(const std::vector<std::string>& parts) const;
    // Waits until a line contains part at least count times over.
    bool WaitFor(std::string_view part, std::uint32_t timeoutMs, std::size_t count = 1) const;
    // The last lines, one below the other, for failure messages.
    std::string Tail(std::size_t count = 40) const;
    void Remove() const;

  private:
    std::wstring m_strPath;
};
