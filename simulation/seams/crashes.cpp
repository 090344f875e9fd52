#include "simulation/seams/crashes.h"

#if NEXLET_ASAN || NEXLET_TSAN
#include <sanitizer/common_interface_defs.h>

namespace simulation {

void WhenCrashing(void (*pfnCrashing)()) {
    __sanitizer_set_death_callback(pfnCrashing);
}

}  // namespace simulation

#else

#include <dlfcn.h>
#include <execinfo.h>
#include <sys/mman.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace simulation {
namespace {

constexpr int kCrashExit = 87;
constexpr std::size_t kStackBytes = std::size_t{1} << 18;
constexpr int kMostFrames = 40;

void (*g_pfnCrashing)() = nullptr;

// On a stack of its own: the fault may be that a simulated thread's stack is full.
void Crashed(int nSignal, siginfo_t* pInfo, void* pContext) {
    static bool bAgain = false;
    if (std::exchange(bAgain, true)) {
        std::_Exit(kCrashExit);
    }
    const auto nCode = reinterpret_cast<ucontext_t*>(pContext)->uc_mcontext.gregs[REG_RIP];
    Dl_info place{};
    const bool bNamed = dladdr(reinterpret_cast<void*>(nCode), &place) != 0 && place.dli_sname != nullptr;
    std::fprintf(stderr, "address %p\n", pInfo->si_addr);
    std::array<void*, kMostFrames> frames{};
    std::fflush(stderr);
    backtrace_symbols_fd(frames.data(), backtrace(frames.data(), kMostFrames), STDERR_FILENO);
    std::fprintf(stderr, "== signal %s in %s\n", sigabbrev_np(nSignal), bNamed ? place.dli_sname : "?");
    std::fflush(stderr);
    if (g_pfnCrashing != nullptr) {
        g_pfnCrashing();
    }
    std::_Exit(kCrashExit);
}

}  // namespace

void WhenCrashing(void (*pfnCrashing)()) {
    g_pfnCrashing = pfnCrashing;
    stack_t stack{};
    stack.ss_size = kStackBytes;
    stack.ss_sp = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (stack.ss_sp == MAP_FAILED || sigaltstack(&stack, nullptr) != 0) {
        std::abort();
    }
    struct sigaction action {};
    action.sa_sigaction = &Crashed;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const int nSignal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT}) {
        sigaction(nSignal, &action, nullptr);
    }
    // Loads what it needs now.
    std::array<void*, 1> frames{};
    backtrace(frames.data(), 1);
}

}  // namespace simulation

#endif
