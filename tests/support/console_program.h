// Runs a console program and collects what it prints.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/windows_headers.h"

struct ConsoleRun {
    bool bStarted = false;
    bool bEnded = false;  // in time; a program that did not is ended
    DWORD dwExitCode = 0;
    std::string strOut;
    std::string strErr;
};

// Runs a program with an unchanged command line, the program's own name first. input becomes standard input.
ConsoleRun RunCommandLine(const std::wstring& exe, const std::wstring& commandLine, const std::string& input = {},
                          std::uint32_t timeoutMs = 60000);

// Each argument arrives as it is given, quotation marks and blanks included. input becomes standard input.
ConsoleRun RunConsoleProgram(const std::wstring& exe, const std::vector<std::string>& arguments,
                             const std::string& input = {}, std::uint32_t timeoutMs = 60000);
