// A stand-in for the installer, which is tested for its version and signer and never run from here.
#include <windows.h>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    return 0;
}
