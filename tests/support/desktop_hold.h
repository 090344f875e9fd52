// Keeps the desktop of the Wine prefix open while this process lives.
#pragma once

// Wine closes a desktop a second after its last user has gone, and starts one at its first. A helper that starts just
// then loses its message window, and with it its timers, as no program on Windows does. A test program that uses the
// desktop from its start on leaves no such moment to the helpers it starts. Calls after the first do nothing.
void HoldDesktop();
