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

void OnInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t) {
    TerminateProcess(GetCurrentProcess(), 0);
}

// The runtime's own way out would show a message box in a program without a console.
[[noreturn]] void OnTerminate() {
    if (const std::exception_ptr failure = std::current_exception()) {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception& error) {
            NXL_LOG(L"[%s(%d)] uncaught exception: %s", Utf8ToUtf16(error.what()).c_str());
        } catch (...) {
            NXL_LOG(L"[%s(%d)] uncaught exception");
        }
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
