// What is known of the helper's log lines, by the page docs/log-lines.md.
#pragma once

#include <string>
#include <string_view>

// What is wrong with a line "[Function(line)] text", or an empty text. Wrong is a text of the page under a name that it
// does not have there, and a name of the page with a text that it does not have there; the blank after the prefix, or
// none, is a part of the text. Lines without a name, and names and texts that are not the helper's, are never wrong.
std::string LogLineFault(std::string_view line);

// Whether a line is exactly text after its prefix "[Function(line)]" and one blank, or is exactly text and has no
// prefix. A text that begins with "]" follows its prefix without a blank.
bool IsLogLine(std::string_view line, std::string_view text);
