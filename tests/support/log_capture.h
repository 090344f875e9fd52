// Collects the lines the log would write, for the length of a scope.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Turns the log on in the constructor and off in the destructor. One at a time; lines may come from any thread. A line
// of the product that docs/log-lines.md does not have under its name fails the test at the end.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines so far, in UTF-8, as "[Function(line)] text".
    std::vector<std::string> Lines() const;
    // How many lines are exactly text after their "[Function(line)]" prefix and one blank, or are exactly text without
    // a prefix. A text that begins with "]" follows its prefix without a blank.
    std::size_t Count(std::string_view text) const;
    // Whether there is such a line.
    bool Has(std::string_view text) const { return Count(text) > 0; }
    // The first line that contains part, or an empty text.
    std::string Find(std::string_view part) const;
    // All lines, one below the other, for failure messages.
    std::string All() const;
};
