// What every function of the C interface does before and after its own work.
#pragma once

#include <cstring>
#include <new>
#include <string>
#include <type_traits>

#include "client/client_table.h"
#include "client/reason.h"

inline nexlet_result ResultOf(CallerResult result) {
    return static_cast<nexlet_result>(result);
}

// A copy of the text that nexlet_free takes back, with a zero after it. Throws std::bad_alloc.
char* NewText(std::string_view text);

// Copies a text that was handed in. False for NULL and for bytes that are not UTF-8, with the reason; name is the
// argument's.
bool TakeText(const char* text, const char* name, std::string& taken);
// The same, but NULL is an empty text.
bool TakeTextOrNull(const char* text, const char* name, std::string& taken);

// NEXLET_BAD_ARGUMENT with its reason.
inline nexlet_result Refuse(std::string reason) {
    return ResultOf(BadArgument(std::move(reason)));
}

// Keeps what nexlet_last_error_text tells of a function that failed: its name, the result's sentence, the reason of
// reason.h and, with the results that have one, the system's words for GetLastError, which stays as it is. Tells the
// client too, when there is one.
void KeepFailure(const char* function, nexlet_result result, CClient* client) noexcept;

// Runs work, a function without arguments that gives a nexlet_result, and lets no exception out: the library's other
// side may be written in anything.
template <typename Work>
nexlet_result Caught(Work work) noexcept {
    try {
        SetReason({});
        return work();
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    } catch (...) {
        SetLastError(ERROR_INTERNAL_ERROR);
    }
    return NEXLET_SYSTEM_ERROR;
}

// The same for a function of the interface that has no client, whose failure is kept.
template <typename Work>
nexlet_result Guarded(const char* function, Work work) noexcept {
    const nexlet_result result = Caught(work);
    if (result != NEXLET_OK) {
        KeepFailure(function, result, nullptr);
    }
    return result;
}

// The same for work that is given the client of the handle. inCallback: it may run inside a callback of the client.
template <typename Work>
nexlet_result WithClient(const char* function, nexlet_client handle, Work work, bool inCallback = false) noexcept {
    nexlet_result result = NEXLET_BAD_HANDLE;
    DWORD systemError = 0;
    {
        const CClientUse client(handle);
        result = Caught([&]() -> nexlet_result {
            if (!client) {
                return NEXLET_BAD_HANDLE;
            }
            return !inCallback && client->InCallback() ? NEXLET_WRONG_THREAD : work(*client);
        });
        if (result != NEXLET_OK) {
            KeepFailure(function, result, client ? &*client : nullptr);
        }
        systemError = GetLastError();
    }
    // Letting go of the client takes a lock, which leaves a number of its own.
    SetLastError(systemError);
    return result;
}

// A record as this library knows it, from one of a size that it knows: of this version, or of an earlier one, in which
// the members after firstBytes were not there and are zero. False for any other size, or for NULL.
template <typename Record>
bool ReadRecord(const Record* given, Record& record, std::size_t firstBytes = sizeof(Record)) {
    if (given == nullptr || (given->struct_size != sizeof(Record) && given->struct_size != firstBytes)) {
        return false;
    }
    record = {};
    std::memcpy(&record, given, given->struct_size);
    return true;
}

// Whether a record's size is one that this library knows. A later version adds the sizes of its additions.
template <typename Record>
bool SizeIsKnown(const Record* record) {
    return record->struct_size == sizeof(Record);
}
