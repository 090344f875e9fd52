#include "tests/checked/guarded_heap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "tests/checked/fault_report.h"

namespace {

constexpr std::size_t kPage = 4096;
constexpr DWORD kHeapCorruption = 0xC0000374;
// Linux lets a process have 65,530 mappings, and a block in use takes two of them.
constexpr std::uint32_t kMostLive = 24000;
constexpr unsigned char kFill = 0xFB;
constexpr std::size_t kFrontChecked = 64;
constexpr std::uint32_t kNone = 0xFFFFFFFF;

enum class EState : std::uint8_t { Unused, Live, Freed };

struct CRecord {
    std::size_t size;
    char* block;
    EState state;
    DWORD allocatedBy;  // threads
    DWORD freedBy;
    std::uint32_t next;  // in the list of freed slots
    CCallers allocated;
    CCallers freed;
};

// Slots for blocks of up to so many pages, each followed by a page that is never accessible.
struct CSlots {
    std::size_t pages;
    std::uint32_t count;
    char* first;
    CRecord* records;
    std::uint32_t used;  // slots below this were given out at least once
    std::uint32_t oldestFreed;
    std::uint32_t newestFreed;

    std::size_t SlotSize() const { return (pages + 1) * kPage; }
    bool Has(const void* address) const { return address >= first && address < first + count * SlotSize(); }
    std::uint32_t IndexOf(const void* address) const {
        return static_cast<std::uint32_t>(static_cast<std::size_t>(static_cast<const char*>(address) - first) /
                                          SlotSize());
    }
};

constexpr int kClasses = 15;  // the last one for 64 MiB
constexpr std::uint32_t kMostSlots = 1U << 18;
constexpr std::uint32_t kFewestSlots = 32;

// Zero before the first use, and without a constructor or destructor: blocks are allocated before and after those run.
struct CHeap {
    bool made;
    bool full;
    std::uint32_t live;
    CSlots classes[kClasses];
    void* (*plainAllocate)(std::size_t);
    void (*plainFree)(void*);
    std::size_t (*plainSize)(void*);
};
CHeap g_heap;
SRWLOCK g_lock = SRWLOCK_INIT;

void Make();

// Holds the lock of the heap, which the first one makes.
class CHeapGuard {
  public:
    CHeapGuard() {
        AcquireSRWLockExclusive(&g_lock);
        if (!g_heap.made) {
            Make();
        }
    }
    ~CHeapGuard() { ReleaseSRWLockExclusive(&g_lock); }
    CHeapGuard(const CHeapGuard&) = delete;
    CHeapGuard& operator=(const CHeapGuard&) = delete;
};

CSlots* SlotsOf(const void* address) {
    for (CSlots& slots : g_heap.classes) {
        if (slots.Has(address)) {
            return &slots;
        }
    }
    return nullptr;
}

// Says what happened at an address of the heap, with the stack of the fault where there is one, and ends the process.
[[noreturn]] void End(const char* what, const void* address, const CRecord& record, DWORD code,
                      const CONTEXT* context) {
    CReportText report;
    report.Add("guarded heap: ").Add(what);
    if (record.block != nullptr) {
        report.Add(", ");
        const char* const end = record.block + record.size;
        if (address < record.block) {
            report.AddNumber(static_cast<std::uint64_t>(record.block - static_cast<const char*>(address)));
            report.Add(" bytes before");
        } else if (address >= end) {
            report.AddNumber(static_cast<std::uint64_t>(static_cast<const char*>(address) - end));
            report.Add(" bytes after the end of");
        } else {
            report.AddNumber(static_cast<std::uint64_t>(static_cast<const char*>(address) - record.block));
            report.Add(" bytes into");
        }
        report.Add(" a block of ").AddNumber(record.size).Add(" bytes");
    }
    report.Add(", thread ").AddHex(GetCurrentThreadId()).Add("\n");
    if (context != nullptr) {
        report.AddStack(*context);
    } else {
        report.AddCallers("the stack:", CallersHere());
    }
    if (record.block != nullptr) {
        report.Add("allocated by thread ").AddHex(record.allocatedBy).AddCallers(":", record.allocated);
    }
    if (record.state == EState::Freed) {
        report.Add("freed by thread ").AddHex(record.freedBy).AddCallers(":", record.freed);
    }
    report.Write();
    TerminateProcess(GetCurrentProcess(), code);
    __builtin_trap();
}

LONG CALLBACK ReportFault(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& fault = *exception->ExceptionRecord;
    if (fault.ExceptionCode != EXCEPTION_ACCESS_VIOLATION || fault.NumberParameters < 2) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const void* const address = reinterpret_cast<const void*>(fault.ExceptionInformation[1]);
    const CSlots* const slots = SlotsOf(address);
    if (slots == nullptr) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    // Without the lock, which this thread may hold; what another thread changes meanwhile is only reported wrongly.
    const std::uint32_t index = slots->IndexOf(address);
    static constexpr CRecord kNothing{};
    const CRecord& record = index < slots->used ? slots->records[index] : kNothing;
    const bool written = fault.ExceptionInformation[0] == 1;
    const char* what = written ? "a write outside any block" : "a read outside any block";
    if (record.state == EState::Live) {
        what = written ? "a write outside a block" : "a read outside a block";
    } else if (record.state == EState::Freed) {
        what = written ? "a write after the free" : "a read after the free";
    }
    End(what, address, record, fault.ExceptionCode, exception->ContextRecord);
}

void Make() {
    // The C library of the system is the one that gives what programs free without having allocated it, such as
    // _wcsdup.
    const HMODULE library = GetModuleHandleW(L"msvcrt.dll");
    const auto find = [library](const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); };
    g_heap.plainAllocate = reinterpret_cast<void* (*)(std::size_t)>(find("malloc"));
    g_heap.plainFree = reinterpret_cast<void (*)(void*)>(find("free"));
    g_heap.plainSize = reinterpret_cast<std::size_t (*)(void*)>(find("_msize"));
    for (int i = 0; i < kClasses; ++i) {
        CSlots& slots = g_heap.classes[i];
        slots.pages = std::size_t{1} << i;
        slots.oldestFreed = kNone;
        slots.newestFreed = kNone;
        const std::uint32_t count = std::max(kMostSlots >> i, kFewestSlots);
        slots.first = static_cast<char*>(VirtualAlloc(nullptr, count * slots.SlotSize(), MEM_RESERVE, PAGE_NOACCESS));
        slots.records =
            static_cast<CRecord*>(VirtualAlloc(nullptr, count * sizeof(CRecord), MEM_RESERVE, PAGE_READWRITE));
        slots.count = slots.first != nullptr && slots.records != nullptr ? count : 0;
    }
    AddVectoredExceptionHandler(1, &ReportFault);
    InstallTrapReport();
    g_heap.made = true;
}

// A slot that was never used; else the one whose block was freed longest ago; kNone when all are in use.
std::uint32_t TakeSlot(CSlots& slots) {
    if (slots.used < slots.count) {
        CRecord* const record = slots.records + slots.used;
        if (VirtualAlloc(record, sizeof(CRecord), MEM_COMMIT, PAGE_READWRITE) == nullptr) {
            return kNone;
        }
        return slots.used++;
    }
    const std::uint32_t index = slots.oldestFreed;
    if (index != kNone) {
        slots.oldestFreed = slots.records[index].next;
        if (slots.oldestFreed == kNone) {
            slots.newestFreed = kNone;
        }
    }
    return index;
}

void ReturnSlot(CSlots& slots, std::uint32_t index) {
    slots.records[index].next = kNone;
    if (slots.newestFreed != kNone) {
        slots.records[slots.newestFreed].next = index;
    } else {
        slots.oldestFreed = index;
    }
    slots.newestFreed = index;
}

// With the lock held. Null when this heap has no slot for the block.
void* Place(std::size_t size, std::size_t alignment, const CCallers& callers) {
    const std::size_t pages = std::max<std::size_t>((size + kPage - 1) / kPage, 1);
    CSlots* const slots = std::find_if(std::begin(g_heap.classes), std::end(g_heap.classes),
                                       [pages](const CSlots& each) { return each.pages >= pages; });
    if (slots == std::end(g_heap.classes) || g_heap.live >= kMostLive) {
        return nullptr;
    }
    const std::uint32_t index = TakeSlot(*slots);
    if (index == kNone) {
        return nullptr;
    }
    char* const guard = slots->first + index * slots->SlotSize() + slots->pages * kPage;
    char* const start = guard - pages * kPage;
    CRecord& record = slots->records[index];
    if (VirtualAlloc(start, pages * kPage, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
        record.state = EState::Freed;
        ReturnSlot(*slots, index);
        return nullptr;
    }
    // Pages that were committed anew are zero, so what a program reads before it writes would pass for initialised.
    char* const block = guard - (size + alignment - 1) / alignment * alignment;
    std::memset(start, kFill, pages * kPage);
    record.size = size;
    record.block = block;
    record.state = EState::Live;
    record.allocatedBy = GetCurrentThreadId();
    record.allocated = callers;
    ++g_heap.live;
    return block;
}

// The first byte around a block that is not as it was filled; null when all are.
const char* FirstChanged(const CSlots& slots, std::uint32_t index) {
    const CRecord& record = slots.records[index];
    const auto changed = [](char byte) { return static_cast<unsigned char>(byte) != kFill; };
    const char* const front =
        record.block - std::min(kFrontChecked, reinterpret_cast<std::uintptr_t>(record.block) % kPage);
    const char* found = std::find_if(front, static_cast<const char*>(record.block), changed);
    if (found != record.block) {
        return found;
    }
    const char* const guard = slots.first + index * slots.SlotSize() + slots.pages * kPage;
    found = std::find_if(static_cast<const char*>(record.block) + record.size, guard, changed);
    return found != guard ? found : nullptr;
}

}  // namespace

void* GuardedAllocate(std::size_t size, std::size_t alignment) noexcept {
    const CCallers callers = CallersHere();
    bool tell = false;
    {
        const CHeapGuard guard;
        if (void* const block = Place(size, alignment, callers)) {
            return block;
        }
        tell = !g_heap.full;
        g_heap.full = true;
    }
    if (tell) {
        CReportText report;
        report.Add("guarded heap: no place for a block of ")
            .AddNumber(size)
            .Add(" bytes; some are not guarded\n")
            .Write();
    }
    return alignment <= 16 ? g_heap.plainAllocate(size) : nullptr;
}

void GuardedFree(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    const CCallers callers = CallersHere();
    const CHeapGuard guard;
    CSlots* const slots = SlotsOf(block);
    if (slots == nullptr) {
        g_heap.plainFree(block);
        return;
    }
    const std::uint32_t index = slots->IndexOf(block);
    if (index >= slots->used) {
        End("a free of what is not a block", block, CRecord{}, kHeapCorruption, nullptr);
    }
    CRecord& record = slots->records[index];
    if (record.state == EState::Freed) {
        End("a second free", block, record, kHeapCorruption, nullptr);
    }
    if (block != record.block) {
        End("a free of what is not the start of a block", block, record, kHeapCorruption, nullptr);
    }
    if (const char* const changed = FirstChanged(*slots, index)) {
        End("found at the free: a write outside a block", changed, record, kHeapCorruption, nullptr);
    }
    char* const start = record.block - reinterpret_cast<std::uintptr_t>(record.block) % kPage;
    const std::size_t length =
        static_cast<std::size_t>(slots->first + index * slots->SlotSize() + slots->pages * kPage - start);
    VirtualFree(start, length, MEM_DECOMMIT);
    record.state = EState::Freed;
    record.freedBy = GetCurrentThreadId();
    record.freed = callers;
    ReturnSlot(*slots, index);
    --g_heap.live;
}

std::size_t GuardedSize(void* block) noexcept {
    const CHeapGuard guard;
    const CSlots* const slots = SlotsOf(block);
    return slots != nullptr ? slots->records[slots->IndexOf(block)].size : g_heap.plainSize(block);
}
