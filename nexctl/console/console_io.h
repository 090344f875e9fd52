// Standard input, output and error of a console program. Texts are UTF-8.
#pragma once

#include <string>
#include <string_view>

enum class OutputStream { Output, Error };

// Takes over the standard handles: what is started afterwards does not inherit them. First call of the program, on its
// first thread, before the others of this header.
void BeginConsole();

// Writes the text whole. A console shows it as UTF-16, whatever its code page is, which stays as it is; a file or a
// pipe gets the bytes. On any thread; each text stays in one piece. A reader that has closed the pipe is not an error.
void WriteText(OutputStream stream, std::string_view text);

// Reads standard input to its end as DecodeInputText does; what is typed at a console is read as UTF-16. False when it
// cannot be read.
bool ReadStandardInput(std::string& text);
