// A function as a library of the machine exports it.
#pragma once

#include "simulation/kernel/modules.h"

namespace simulation {

template <typename Function>
Exports::value_type Export(const char* szName, Function* pFunction) {
    // clang 19 warns of a cast to another type of function, unless it goes by way of this one.
    return {szName, reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(pFunction))};
}

}  // namespace simulation
