// The part of the system's interface that the product's floors call, for the simulation. Nothing is declared here that
// simulation/system does not implement, and nothing is implemented that no floor, and no test of it, calls.
#pragma once

#include "simulation/include/winapi/errors.h"
#include "simulation/include/winapi/files.h"
#include "simulation/include/winapi/locks.h"
#include "simulation/include/winapi/messages.h"
#include "simulation/include/winapi/objects.h"
#include "simulation/include/winapi/processes.h"
#include "simulation/include/winapi/security.h"
#include "simulation/include/winapi/surroundings.h"
#include "simulation/include/winapi/threads.h"
#include "simulation/include/winapi/types.h"
