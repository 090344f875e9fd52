// Keeps the desktop of the Wine prefix open while this process lives.
#pragma once

// Wine closes a desktop a second after its last program has ended, and starts one for the first. A helper that starts
// just then loses its message window, and with it its timers, as no program on Windows does. A test program that uses
// the desktop from its start on keeps it open for the helpers it starts. Calls after the first do nothing.
void HoldDesktop();
