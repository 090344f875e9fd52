// Threads as the C runtime starts them.
#pragma once

#include <cstdint>

std::uintptr_t _beginthreadex(void* pSecurity, unsigned nStackSize, unsigned (*pfnStart)(void*), void* pArgument,
                              unsigned nFlags, unsigned* pThreadId);
