// The program's own key in the registry, below HKEY_CURRENT_USER, and its values that more than one file names. All
// values are in docs/registry.md.
#pragma once

inline constexpr wchar_t kProgramKey[] = L"Software\\Ovrin\\zolt";
inline constexpr wchar_t kAppShortcutCreateValue[] = L"app_shortcut_create";  // REG_DWORD: 1 or 0
