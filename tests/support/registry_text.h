// What the registry holds, as one text to compare.
#pragma once

#include <string>

// All keys and values of HKEY_LOCAL_MACHINE\SOFTWARE, both views, and of HKEY_CURRENT_USER\Software, without the times
// of changes and without volatile keys. Wine saves a tree in one request to its server; to ask for key after key, as
// the system's own reg.exe does, keeps the server busy for seconds. Empty, with a word on the error output, when the
// registry cannot be saved.
std::string RegistryText();
