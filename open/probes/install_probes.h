// What is installed on this machine, read from the uninstall list. Every failure counts as no. Any thread.
#pragma once

#include <string>

#include "open/probes/registry_views.h"
#include "open/probes/wechat_kind.h"

// One registry value as text, whatever its type, cut at its first zero; empty on any failure.
std::wstring ReadRegString(HKEY root, const wchar_t* subKey, const wchar_t* valueName, REGSAM samDesired);

// The WeChat mini-program application has an uninstall entry.
bool IsWxMiniProgramInstalled();

// The WeChat client has one, under either of its names. Sets g_nWeChatKind when it does.
bool IsWeChatInstalled();

// The YYB host has one.
bool IsAndrowsInstalled();

// The folder of the mini-program application's uninstaller; empty when it is not known. A quoted text in the registry
// gives a path that begins with the quotation mark: callers rely on it naming no file. Held by
// AQuotedUninstallTextKeepsItsQuote.
std::wstring GetWxMiniProgramInstallDir();
