#include "foundation/log_output.h"

// Native builds of the portable core keep no log file; tests read lines through the observer.
void WriteLogText(const wchar_t*) {}
