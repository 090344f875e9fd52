// Ends with the flags that it was started with.
#include "foundation/windows_headers.h"

int main() {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    GetStartupInfoW(&startup);
    return static_cast<int>(startup.dwFlags);
}
