// Makes icons from pictures, as the helper does.
//
//   make_icon PICTURE ICON [COUNT]     COUNT times the same, for measuring; 1 by default
//
// Ends with 0 when the last one was made.
#include "foundation/windows_headers.h"

#include <cstdlib>

#include "support/picture/cos_op.h"
#include "support/picture/gdiplus_start.h"

int main() {
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count < 3) {
        return 2;
    }
    StartGdiplus();
    bool bMade = true;
    for (unsigned long times = count > 3 ? std::wcstoul(arguments[3], nullptr, 10) : 1; times > 0; --times) {
        bMade = CosOp::TuFileToIcoFile(arguments[1], arguments[2]);
    }
    return bMade ? 0 : 1;
}
