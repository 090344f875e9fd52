// What a program tells the input method. Nothing of it is imitated.
#pragma once

#include "simulation/include/winapi/types.h"

inline BOOL ImmDisableIME(DWORD) {
    return TRUE;
}
