#include "host/crash_dump.h"

#include "foundation/windows_headers.h"

#include <dbghelp.h>

#include <atomic>
#include <iterator>

#include "foundation/handle.h"
#include "foundation/late_library.h"
#include "foundation/log_file.h"
#include "foundation/wide_format.h"

namespace Late {

namespace {

constinit CLateLibrary g_dbghelp(L"dbghelp.dll");

}  // namespace

NXL_LATE_FUNCTION(g_dbghelp, , MiniDumpWriteDump, FALSE);
NXL_LATE_FUNCTION(g_dbghelp, , SymSetOptions, 0);

}  // namespace Late

namespace {

constexpr wchar_t kDumpSwitch[] = L"debug_dump";
constexpr wchar_t kDumpFileFormat[] = L"%s\\Nexlet%d.dmp";
// A dump takes less than a second, and much longer on a busy machine.
constexpr DWORD kDumpWaitMs = 120000;

constexpr auto kDumpType =
    static_cast<MINIDUMP_TYPE>(MiniDumpNormal | MiniDumpWithUnloadedModules | MiniDumpWithThreadInfo);

// A dump is written by a thread that waits for the crash: the crashed one may have no stack left.
struct Dumper {
    CKernelHandle hWanted{CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr)};
    CKernelHandle hDone{CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr)};
    std::atomic<bool> bTaken{false};
    DWORD nThreadId = 0;
    EXCEPTION_POINTERS* pPointers = nullptr;  // of the crashed thread, which waits
};

Dumper* g_pDumper = nullptr;  // made at the start, never destroyed
LPTOP_LEVEL_EXCEPTION_FILTER g_pfnFilterBefore = nullptr;

void WriteDump(const Dumper& dumper) {
    CreateDirectoryW(kLogFolder, nullptr);
    wchar_t path[MAX_PATH] = {};
    FormatWide(path, std::size(path), kDumpFileFormat, kLogFolder, GetCurrentProcessId());
    const CFileHandle file(
        CreateFileW(path, GENERIC_WRITE, /*dwShareMode=*/0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return;
    }
    MINIDUMP_EXCEPTION_INFORMATION exception = {};
    exception.ThreadId = dumper.nThreadId;
    exception.ExceptionPointers = dumper.pPointers;
    // A dump needs no symbols. Wine reads those of every module all the same, unless it is told to wait until it needs
    // them.
    Late::SymSetOptions(SYMOPT_DEFERRED_LOADS);
    Late::MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file.get(), kDumpType, &exception,
                            /*user=*/nullptr, /*callback=*/nullptr);
}

DWORD WINAPI DumpThread(void*) {
    WaitForSingleObject(g_pDumper->hWanted.get(), INFINITE);
    WriteDump(*g_pDumper);
    SetEvent(g_pDumper->hDone.get());
    return 0;
}

void Dump(EXCEPTION_POINTERS* pointers) {
    Dumper& dumper = *g_pDumper;
    if (!dumper.bTaken.exchange(true)) {
        dumper.nThreadId = GetCurrentThreadId();
        dumper.pPointers = pointers;
        SetEvent(dumper.hWanted.get());
    }
    // Not for ever: the crashed thread may hold a lock that the dump needs.
    WaitForSingleObject(dumper.hDone.get(), kDumpWaitMs);
}

LONG WINAPI OnFault(EXCEPTION_POINTERS* pointers) {
    Dump(pointers);
    return g_pfnFilterBefore != nullptr ? g_pfnFilterBefore(pointers) : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void KeepCrashDumps() {
    if (g_pDumper != nullptr || !IsDebugValueOn(kDumpSwitch)) {
        return;
    }
    g_pDumper = new Dumper;
    const CKernelHandle thread(
        CreateThread(/*attributes=*/nullptr, /*dwStackSize=*/0, &DumpThread, nullptr, /*flags=*/0, nullptr));
    g_pfnFilterBefore = SetUnhandledExceptionFilter(&OnFault);
}

bool IsCrashUnderWay() {
    return g_pDumper != nullptr && g_pDumper->bTaken.load();
}

void DumpThisThread(unsigned long nCode) {
    if (g_pDumper == nullptr) {
        return;
    }
    CONTEXT context = {};
    RtlCaptureContext(&context);
    EXCEPTION_RECORD record = {};
    record.ExceptionCode = nCode;
    EXCEPTION_POINTERS pointers = {&record, &context};
    Dump(&pointers);
}
