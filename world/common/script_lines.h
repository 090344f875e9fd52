// What the scenario files share: lines of words, some of which hold the rest of their line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct ScriptLine {
    std::size_t nNumber = 0;  // in the file, from 1
    std::string strText;      // without blanks at its ends
};

// The lines with content: not the blank ones, and not those that begin with "#". A byte-order mark is skipped.
std::vector<ScriptLine> ReadScriptLines(std::string_view text);

// Removes the first word of text, and the blanks after it; empty when there is none.
std::string_view TakeWord(std::string_view& text);

// Takes a word, or the text between quotation marks. False when there is none.
bool TakeName(std::string_view& text, std::string& name);

// Takes a name that is a path below a folder, relative and never up, with backslashes in it. False when it is not one.
bool TakePath(std::string_view& text, std::string& path);

// The whole of text as a decimal number.
std::optional<std::uint32_t> WholeNumber(std::string_view text);

// "line 3: " and what is wrong.
std::string LineProblem(const ScriptLine& line, std::string_view wrong);
