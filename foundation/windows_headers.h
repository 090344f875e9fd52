// The Windows headers of this program, in the order they need, without the macros that rename our own functions.
// Include this, and no Windows header before it, in every file of the Windows edge.
#pragma once

#include <windows.h>

#include <shellapi.h>
#include <shlwapi.h>

// text_helpers.h has a function of this name.
#undef UrlEscape
