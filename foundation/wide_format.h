// Formatted wide text in a fixed buffer, the same on every platform: %s is wide, too long is cut.
#pragma once

#include <cstdarg>
#include <cstddef>

// Writes at most size - 1 characters and always a terminator; what does not fit is cut. size is in characters and must
// not be 0. %s and %ls take wide text, %hs and %S narrow text.
void FormatWide(wchar_t* target, std::size_t size, const wchar_t* format, ...);
void FormatWideV(wchar_t* target, std::size_t size, const wchar_t* format, va_list arguments);
