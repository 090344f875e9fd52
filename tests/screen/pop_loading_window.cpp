// Pops one loading window and ends with it.
//
//   pop_loading_window NAME TITLE ICON-URL TIMEOUT-MS
#include "foundation/windows_headers.h"

#include <cstdlib>

#include "foundation/text_helpers.h"
#include "support/loading/loading_window.h"

int main() {
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (arguments == nullptr || count != 5) {
        return 2;
    }
    LoadingWindowRequest request;
    request.name = Utf16ToUtf8(arguments[1]);
    request.wndname = Utf16ToUtf8(arguments[2]);
    request.iconUrl = Utf16ToUtf8(arguments[3]);
    request.timeOut = static_cast<std::uint32_t>(std::wcstoul(arguments[4], nullptr, 10));
    ShowLoadingWindow(request);
    return 0;
}
