// A whole file in memory that a stream of the system can own.
#pragma once

#include <string>

#include "foundation/handle.h"

struct GlobalMemoryTraits {
    using Handle = HGLOBAL;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { GlobalFree(handle); }
};
using CGlobalMemory = CUniqueHandle<GlobalMemoryTraits>;

// The file's bytes in movable memory, and in size how many there are: the memory may be larger. Nothing when the file
// is empty, cannot be read, has 4 GiB or more, or does not fit into memory. The file is closed again. Any thread.
CGlobalMemory ReadWholeFile(const std::wstring& path, DWORD& size);
