// Signals the event whose handle its only argument gives as a number, if this process has such a handle.
#include <cstdint>
#include <cstdlib>

#include "foundation/windows_headers.h"

int main(int count, char** values) {
    if (count != 2) {
        return 2;
    }
    const auto number = static_cast<std::uintptr_t>(std::strtoull(values[1], nullptr, 10));
    return SetEvent(reinterpret_cast<HANDLE>(number)) != FALSE ? 1 : 0;
}
