// Rights in their text form.
#pragma once

#include "simulation/include/winapi/security.h"
