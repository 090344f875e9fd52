#include "simulation/kernel/parallel.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>

// syscall itself leads to the machine, see seams/runtime.cpp.
extern "C" long __real_syscall(long nNumber, ...);

namespace simulation {
namespace {

void AwaitChange(std::atomic<std::uint32_t>& word, std::uint32_t nSeen) {
    __real_syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, nSeen, nullptr, nullptr, 0);
}

void TellChange(std::atomic<std::uint32_t>& word, int nThreads) {
    __real_syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, nThreads, nullptr, nullptr, 0);
}

void* RunDetached(void* pWork) {
    const std::unique_ptr<std::function<void()>> pOwned(static_cast<std::function<void()>*>(pWork));
    (*pOwned)();
    return nullptr;
}

}  // namespace

void CMachineLock::Take() {
    std::uint32_t nState = Free;
    if (m_nState.compare_exchange_strong(nState, Held)) {
        return;
    }
    while (m_nState.exchange(HeldAndAwaited) != Free) {
        AwaitChange(m_nState, HeldAndAwaited);
    }
}

void CMachineLock::Release() {
    if (m_nState.exchange(Free) == HeldAndAwaited) {
        TellChange(m_nState, 1);
    }
}

void CTurn::Give() {
    ++m_nGiven;
    TellChange(m_nGiven, INT_MAX);
}

void CTurn::Await(std::uint32_t nGiven) {
    while (m_nGiven.load() == nGiven) {
        AwaitChange(m_nGiven, nGiven);
    }
}

void StartDetached(std::function<void()> work) {
    pthread_attr_t attributes;
    pthread_t thread;
    auto pWork = std::make_unique<std::function<void()>>(std::move(work));
    if (pthread_attr_init(&attributes) != 0 || pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED) != 0 ||
        pthread_create(&thread, &attributes, &RunDetached, pWork.get()) != 0) {
        std::abort();
    }
    pWork.release();
    pthread_attr_destroy(&attributes);
}

}  // namespace simulation
