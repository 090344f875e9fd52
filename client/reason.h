// Why an operation failed, in words for people. Kept for each thread, like the system's own error number, which none of
// these functions changes.
#pragma once

#include <string>
#include <string_view>

#include "client/caller_result.h"
#include "foundation/windows_headers.h"

// The reason of the operation under way on this thread: the key, the path or the name that it is about.
void SetReason(std::string reason);
// Returns the reason and forgets it.
std::string TakeReason();

// Keeps the reason and returns the result that belongs to it.
CallerResult BadArgument(std::string reason);

// What the last function of the C interface that failed on this thread has to say. The pointer holds until the next one
// fails on this thread; empty when none has.
void SetLastErrorText(std::string text);
const char* LastErrorText();

// The system's sentence for one of its error numbers, with the number: "Access denied. (5)".
std::string SystemWords(DWORD error);

// False for bytes that are not UTF-8; the reason then names the text and the place.
bool CheckUtf8(std::string_view text, const char* name);
