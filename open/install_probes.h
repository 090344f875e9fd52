// What is installed on this machine, read from the uninstall list. Every failure counts as no. Any thread.
#pragma once

#include <string>

#include "open/registry_views.h"

// One registry value as text, whatever its type, cut at its first zero; empty on any failure.
std::wstring ReadRegString(HKEY root, const wchar_t* subKey, const wchar_t* valueName, REGSAM samDesired);

// The WeChat mini-program application has an uninstall entry.
bool IsWxMiniProgramInstalled();
