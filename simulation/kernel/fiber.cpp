#include "simulation/kernel/fiber.h"

#include <cxxabi.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

// The simulation itself is compiled without ThreadSanitizer, so the compiler does not say whether a program has it.
#if NEXLET_TSAN
#include <sanitizer/tsan_interface.h>
#endif
#if NEXLET_ASAN
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

// swapcontext would ask the operating system at every change, and AddressSanitizer forgets the whole stack at it.
#ifndef __x86_64__
#error "The change of stacks is written for x86-64."
#endif
extern "C" void nexlet_switch_stack(void** ppSave, void* pLoad);
asm(R"(
.text
.globl nexlet_switch_stack
.type nexlet_switch_stack, @function
nexlet_switch_stack:
    pushq %rbp
    pushq %rbx
    pushq %r12
    pushq %r13
    pushq %r14
    pushq %r15
    movq %rsp, (%rdi)
    movq %rsi, %rsp
    popq %r15
    popq %r14
    popq %r13
    popq %r12
    popq %rbx
    popq %rbp
    ret
.size nexlet_switch_stack, .-nexlet_switch_stack
)");

namespace simulation {
namespace {

constexpr std::size_t kStackBytes = std::size_t{1} << 20;
constexpr std::size_t kGuardBytes = 4096;
constexpr std::size_t kSavedRegisters = 6;

struct RuntimeExceptions {
    void* pCaught;
    unsigned nUncaught;
};

RuntimeExceptions& Exceptions() {
    return *reinterpret_cast<RuntimeExceptions*>(abi::__cxa_get_globals());
}

// The last switch. The fiber that it enters learns from it where the stack is that was there from the start.
CFiber* g_pArriving = nullptr;
CFiber* g_pLeft = nullptr;

std::vector<void*>& FreeStacks() {
    static auto& stacks = *new std::vector<void*>;
    return stacks;
}

void* MapStack() {
    std::vector<void*>& stacks = FreeStacks();
    if (!stacks.empty()) {
        void* const pMapped = stacks.back();
        stacks.pop_back();
        return pMapped;
    }
    void* const pMapped = mmap(nullptr, kGuardBytes + kStackBytes, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pMapped == MAP_FAILED || mprotect(pMapped, kGuardBytes, PROT_NONE) != 0) {
        std::abort();
    }
    return pMapped;
}

#if NEXLET_ASAN
// The stack may hold anything again. Its whole shadow goes back to the operating system, which gives zeros: to write
// them would take pages that most stacks never use.
void Unpoison(const void* pBottom, std::size_t nBytes) {
    constexpr std::uintptr_t kPage = 4096;
    std::size_t nScale = 0;
    std::size_t nOffset = 0;
    __asan_get_shadow_mapping(&nScale, &nOffset);
    const auto nBegin = reinterpret_cast<std::uintptr_t>(pBottom);
    const std::uintptr_t nFirst = ((nBegin >> nScale) + nOffset + kPage - 1) / kPage * kPage;
    const std::uintptr_t nEnd = (((nBegin + nBytes) >> nScale) + nOffset) / kPage * kPage;
    const std::uintptr_t nWholeBegin = (nFirst - nOffset) << nScale;
    const std::uintptr_t nWholeEnd = (nEnd - nOffset) << nScale;
    if (madvise(reinterpret_cast<void*>(nFirst), nEnd - nFirst, MADV_DONTNEED) != 0) {
        std::abort();
    }
    __asan_unpoison_memory_region(pBottom, nWholeBegin - nBegin);
    __asan_unpoison_memory_region(reinterpret_cast<void*>(nWholeEnd), nBegin + nBytes - nWholeEnd);
}
#endif

}  // namespace

CFiber::CFiber() {
#if NEXLET_TSAN
    m_pThread = __tsan_get_current_fiber();
#endif
}

CFiber::CFiber(std::function<void()> work) : m_work(std::move(work)), m_nSize(kStackBytes), m_pMapped(MapStack()) {
    char* const pBottom = static_cast<char*>(m_pMapped) + kGuardBytes;
    m_pBottom = pBottom;
#if NEXLET_TSAN
    m_pThread = __tsan_create_fiber(0);
#endif
    // What the first switch takes from the stack: the registers, the address that it returns to, and one word more, so
    // that the function there finds its stack aligned as after a call.
    auto** const pTop = reinterpret_cast<void**>(pBottom + kStackBytes);
    pTop[-2] = reinterpret_cast<void*>(&CFiber::Begin);
    pTop[-1] = nullptr;
    for (std::size_t i = 0; i < kSavedRegisters; ++i) {
        pTop[-3 - static_cast<std::ptrdiff_t>(i)] = nullptr;
    }
    m_pStackPointer = pTop - 2 - kSavedRegisters;
}

CFiber::~CFiber() {
    if (m_pMapped == nullptr) {
        return;
    }
#if NEXLET_TSAN
    __tsan_destroy_fiber(m_pThread);
    // Another thread on the same addresses would be a race with this one.
    munmap(m_pMapped, kGuardBytes + kStackBytes);
#elif NEXLET_ASAN
    Unpoison(m_pBottom, m_nSize);
#endif
#if !NEXLET_TSAN
    FreeStacks().push_back(m_pMapped);
#endif
}

void CFiber::KeepOwned() const {
#if NEXLET_ASAN
    const auto nUsed = static_cast<const char*>(m_pBottom) + m_nSize - static_cast<const char*>(m_pStackPointer);
    __lsan_register_root_region(m_pStackPointer, static_cast<std::size_t>(nUsed));
#endif
}

void CFiber::Switch(CFiber& from, CFiber& to, bool bLast) {
    RuntimeExceptions& exceptions = Exceptions();
    from.m_pCaught = std::exchange(exceptions.pCaught, to.m_pCaught);
    from.m_nUncaught = std::exchange(exceptions.nUncaught, to.m_nUncaught);
    from.m_watching = std::exchange(g_watching, to.m_watching);
    from.m_nErrno = std::exchange(errno, to.m_nErrno);
    g_pArriving = &to;
    g_pLeft = &from;
#if NEXLET_TSAN
    (void)bLast;
    __tsan_switch_to_fiber(to.m_pThread, __tsan_switch_to_fiber_no_sync);
#elif NEXLET_ASAN
    __sanitizer_start_switch_fiber(bLast ? nullptr : &from.m_pFakeStack, to.m_pBottom, to.m_nSize);
#else
    (void)bLast;
#endif
    nexlet_switch_stack(&from.m_pStackPointer, to.m_pStackPointer);
    from.Arrive();
}

void CFiber::HappenedBefore([[maybe_unused]] const void* pAddress) {
#if NEXLET_TSAN
    void* const pRunning = __tsan_get_current_fiber();
    const Watching running = std::exchange(g_watching, m_watching);
    __tsan_switch_to_fiber(m_pThread, __tsan_switch_to_fiber_no_sync);
    HappensBefore(pAddress);
    __tsan_switch_to_fiber(pRunning, __tsan_switch_to_fiber_no_sync);
    g_watching = running;
#endif
}

void CFiber::Arrive() {
#if NEXLET_ASAN
    const void* pBottom = nullptr;
    std::size_t nSize = 0;
    __sanitizer_finish_switch_fiber(m_pFakeStack, &pBottom, &nSize);
    if (g_pLeft->m_pBottom == nullptr) {
        g_pLeft->m_pBottom = pBottom;
        g_pLeft->m_nSize = nSize;
    }
#endif
}

void CFiber::Begin() {
    CFiber& self = *g_pArriving;
    self.Arrive();
    self.m_work();
    std::abort();  // work does not return
}

}  // namespace simulation
