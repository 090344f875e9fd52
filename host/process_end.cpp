#include "host/process_end.h"

#include "foundation/windows_headers.h"

#include <cstdint>
#include <cstdlib>
#include <exception>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/crash_dump.h"
#include "open/wx_sdk/wx_api.h"
#include "open/yyb/yyb_api.h"

namespace {

constexpr UINT kUncaughtExceptionCode = 3;
// The functions here are parts of one operation, by whose name people know its lines.
constexpr wchar_t kOnTerminate[] = L"OnTerminate";

void OnInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {
    TerminateProcess(GetCurrentProcess(), 0);
}

void LogFailure(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        NXL_LOG_AS(kOnTerminate, L"[%s(%d)] uncaught exception: %s", Utf8ToUtf16(error.what()).c_str());
    } catch (...) {
        NXL_LOG_AS(kOnTerminate, L"[%s(%d)] uncaught exception");
    }
}

// A line takes memory, and its lack may be what ends the process. Then there is no line.
void LogFailureWithMemory(const std::exception_ptr& failure) {
    try {
        LogFailure(failure);
    } catch (...) {
        return;
    }
}

// The runtime's own way out would show a message box in a program without a console.
[[noreturn]] void OnTerminate() {
    if (const std::exception_ptr failure = std::current_exception()) {
        LogFailureWithMemory(failure);
    }
    DumpThisThread(kUncaughtExceptionCode);
    TerminateProcess(GetCurrentProcess(), kUncaughtExceptionCode);
    std::abort();
}

}  // namespace

void EndSilentlyOnFaults() {
    _set_invalid_parameter_handler(&OnInvalidParameter);
    std::set_terminate(&OnTerminate);
}

void UninitializeSdks() {
    YYB_API_CLIENT::CYybApi::GetInstance().Uninit();
    MINI_API_CLIENT::CWxApi::GetInstance().Uninit();
}
