#include "foundation/wide_format.h"

void FormatWide(wchar_t* target, std::size_t size, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    FormatWideV(target, size, format, arguments);
    va_end(arguments);
}
