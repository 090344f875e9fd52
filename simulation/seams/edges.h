// The product's marked edges and which of them were reached.
#pragma once

#include <cstdint>

namespace simulation {

std::uint32_t EdgeCount();
// From now on the byte of each reached edge is set. pReached has EdgeCount bytes and outlives all code that runs.
void RecordEdges(unsigned char* pReached);

}  // namespace simulation
