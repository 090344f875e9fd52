// Turns the log on as the program does at its start, writes the lines given as arguments and ends. Prints, as UTF-8,
// what is sent to a debugger.
#include <cstdio>
#include <cwchar>

#include "foundation/log.h"
#include "foundation/log_file.h"
#include "foundation/text_helpers.h"

namespace {

constexpr DWORD kWideDebugOutput = 0x4001000A;
constexpr DWORD kNarrowDebugOutput = 0x40010006;

// Debug output is raised as an exception, which a debugger takes; here we are our own.
LONG CALLBACK PrintDebugOutput(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == kWideDebugOutput) {
        std::printf("%s", Utf16ToUtf8(reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1])).c_str());
    } else if (record.ExceptionCode == kNarrowDebugOutput) {
        std::printf("%s", reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    } else {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    AddVectoredExceptionHandler(TRUE, &PrintDebugOutput);
    TurnLogOn();
    for (int i = 1; i < count; ++i) {
        NXL_LOG(L"[%s(%d)] %s", arguments[i]);
    }
    std::printf("flag %u\n", g_bDebugLog.load());
    return 0;
}
