#include <cwchar>

#include "foundation/wide_format.h"

void FormatWideV(wchar_t* target, std::size_t size, const wchar_t* format, va_list arguments) {
    // The runtime's own function: in it %s is wide, and a text that is too long is cut without a terminator.
    target[size - 1] = L'\0';
    _vsnwprintf(target, size - 1, format, arguments);
}
