// Memory that was given back, in a build without AddressSanitizer: it is filled, kept for a while, and looked at before
// the C library has it again. A thread that still reads it finds nothing of use there, and one that writes is found
// out.
#pragma once

namespace simulation {

// A block that malloc has given: what is left in it does not look like a block that was given back.
void BeginBlock(void* pBlock);
// In the place of free. Ends the run with a report when a block comes twice, or when one that came before was written.
void GiveBack(void* pBlock);

}  // namespace simulation
