// The desktop shortcuts that helpers have made.
#pragma once

#include <string>
#include <vector>

// The shortcuts on the user's desktop whose icon is a file in this folder. A helper keeps the icon of a shortcut in a
// cache of its own, which no other program's shortcut points into.
std::vector<std::wstring> FindShortcutsWithIconIn(const std::wstring& folder);
