#include "tests/checked/fault_report.h"

#include <cstring>
#include <iterator>

namespace {

// The checks by the numbers that clang puts into the trapping instruction, in the order of its list of handlers.
constexpr const char* kChecks[] = {
    "an addition overflowed",
    "code was reached that cannot be reached",
    "an indirect call went to a function of another type",
    "a division overflowed or was by zero",
    "an object has another dynamic type",
    "a floating-point number does not fit into the type",
    "a function was called through a pointer of another type",
    "an implicit conversion changed the value",
    "an argument is not valid for a function of the compiler",
    "an object has another class",
    "a value was loaded that its type does not have",
    "a function ended without returning a value",
    "a multiplication overflowed",
    "a negation overflowed",
    "a null argument was passed where none is allowed",
    "a null pointer was returned where none is allowed",
    "a null argument was passed where none is allowed",
    "a null pointer was returned where none is allowed",
    "an index is outside its array",
    "pointer arithmetic overflowed",
    "a shift is too far or of a negative number",
    "a subtraction overflowed",
    "a pointer is null, misaligned, or to too small an object",
    "a pointer is not aligned as was promised",
    "the length of an array is not positive",
};

// The text for an instruction of clang's traps; null for any other.
const char* TextOfTrap(const unsigned char* instruction) {
    // ud1 with the number of the check as a displacement, which number 0 does without.
    if (instruction[0] == 0x67 && instruction[1] == 0x0F && instruction[2] == 0xB9 &&
        (instruction[3] == 0x00 || instruction[3] == 0x40)) {
        const unsigned char check = instruction[3] == 0x00 ? 0 : instruction[4];
        return check < std::size(kChecks) ? kChecks[check] : "a check of the compiler failed";
    }
    // ud2, without a number.
    if (instruction[0] == 0x0F && instruction[1] == 0x0B) {
        return "code was reached that cannot be reached";
    }
    return nullptr;
}

LONG CALLBACK ReportTrap(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != EXCEPTION_ILLEGAL_INSTRUCTION) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const char* const what = TextOfTrap(static_cast<const unsigned char*>(record.ExceptionAddress));
    if (what == nullptr) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    CReportText report;
    report.Add("undefined behaviour: ").Add(what).Add("\n").AddStack(*exception->ContextRecord).Write();
    TerminateProcess(GetCurrentProcess(), record.ExceptionCode);
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

CCallers CallersHere() {
    CCallers callers;
    // This function and the one that called it are left out.
    RtlCaptureStackBackTrace(2, CCallers::kCount, callers.addresses, nullptr);
    return callers;
}

CReportText& CReportText::Add(const char* text) {
    const std::size_t length = std::strlen(text);
    const std::size_t taken = length < kSize - m_nLength ? length : kSize - m_nLength;
    std::memcpy(m_text + m_nLength, text, taken);
    m_nLength += taken;
    return *this;
}

CReportText& CReportText::AddNumber(std::uint64_t number) {
    char digits[24];
    char* first = digits + sizeof(digits) - 1;
    *first = '\0';
    do {
        *--first = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    return Add(first);
}

CReportText& CReportText::AddHex(std::uint64_t number) {
    char digits[24];
    char* first = digits + sizeof(digits) - 1;
    *first = '\0';
    do {
        *--first = "0123456789abcdef"[number % 16];
        number /= 16;
    } while (number != 0);
    return Add("0x").Add(first);
}

void CReportText::AddPlace(const char* word, const void* address) {
    Add("  ").Add(word).Add(" ");
    HMODULE module = nullptr;
    char path[MAX_PATH] = "";
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const char*>(address), &module) &&
        GetModuleFileNameA(module, path, MAX_PATH) > 0) {
        const char* const name = std::strrchr(path, '\\');
        Add(name != nullptr ? name + 1 : path).Add("+");
        AddHex(static_cast<std::uint64_t>(static_cast<const char*>(address) - reinterpret_cast<const char*>(module)));
    } else {
        AddHex(reinterpret_cast<std::uintptr_t>(address));
    }
    Add("\n");
}

CReportText& CReportText::AddCallers(const char* title, const CCallers& callers) {
    Add(title).Add("\n");
    for (const void* const address : callers.addresses) {
        if (address == nullptr) {
            break;
        }
        AddPlace("from", address);
    }
    return *this;
}

CReportText& CReportText::AddStack(const CONTEXT& context) {
    CONTEXT frame = context;
    AddPlace("at", reinterpret_cast<const void*>(frame.Rip));
    for (int depth = 0; depth < 16; ++depth) {
        DWORD64 base = 0;
        RUNTIME_FUNCTION* const function = RtlLookupFunctionEntry(frame.Rip, &base, nullptr);
        if (function == nullptr) {
            // A function without an entry has no frame: its return address is on top of the stack.
            frame.Rip = *reinterpret_cast<const DWORD64*>(frame.Rsp);
            frame.Rsp += sizeof(DWORD64);
        } else {
            void* handler = nullptr;
            DWORD64 established = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, frame.Rip, function, &frame, &handler, &established, nullptr);
        }
        if (frame.Rip == 0) {
            break;
        }
        AddPlace("from", reinterpret_cast<const void*>(frame.Rip));
    }
    return *this;
}

void CReportText::Write() const {
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), m_text, static_cast<DWORD>(m_nLength), &written, nullptr);
    char path[MAX_PATH] = "";
    const DWORD length = GetEnvironmentVariableA("NEXLET_FAULT_REPORTS", path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return;
    }
    const HANDLE file = CreateFileA(path, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        WriteFile(file, m_text, static_cast<DWORD>(m_nLength), &written, nullptr);
        CloseHandle(file);
    }
}

void InstallTrapReport() {
    AddVectoredExceptionHandler(1, &ReportTrap);
}
