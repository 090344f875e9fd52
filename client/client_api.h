// What every function of the C interface does before and after its own work.
#pragma once

#include <new>
#include <string>
#include <type_traits>

#include "client/client_table.h"

inline nexlet_result ResultOf(CallerResult result) {
    return static_cast<nexlet_result>(result);
}

// A copy of the text that nexlet_free takes back, with a zero behind it. Throws std::bad_alloc.
char* NewText(std::string_view text);

// Runs work, a function without arguments that gives a nexlet_result, and lets no exception out: the library's other
// side may be written in anything.
template <typename Work>
nexlet_result Guarded(Work work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (...) {
        SetLastError(ERROR_INTERNAL_ERROR);
    }
    return NEXLET_SYSTEM_ERROR;
}

// The same for work that is given the client of the handle.
template <typename Work>
nexlet_result WithClient(nexlet_client handle, Work work) noexcept {
    return Guarded([&]() -> nexlet_result {
        nexlet_result result = NEXLET_BAD_HANDLE;
        DWORD systemError = 0;
        {
            const CClientUse client(handle);
            if (client) {
                result = client->InCallback() ? NEXLET_WRONG_THREAD : work(*client);
            }
            systemError = GetLastError();
        }
        // Letting go of the client takes a lock, which leaves a number of its own.
        SetLastError(systemError);
        return result;
    });
}

// Whether a record's size is one that this library knows. A later version adds the sizes of its additions.
template <typename Record>
bool SizeIsKnown(const Record* record) {
    return record->struct_size == sizeof(Record);
}
