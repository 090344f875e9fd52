// How many handles this process holds.
#pragma once

#include <cstddef>

// 0 when the system cannot tell.
std::size_t OwnHandleCount();
