#include <cwchar>

#include "foundation/wide_format.h"

void FormatWideV(wchar_t* target, std::size_t size, const wchar_t* format, va_list arguments) {
    // The runtime's own function: in it %s is wide. A text that is too long, or that it fails on half-way, gets no
    // terminator from it.
    std::wmemset(target, L'\0', size);
    _vsnwprintf(target, size - 1, format, arguments);
}
