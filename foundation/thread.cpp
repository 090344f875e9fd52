#include "foundation/thread.h"

#include <process.h>

#include <memory>
#include <utility>

namespace {

// noexcept: the runtime's own frames below must not get to see an exception of ours.
unsigned __stdcall RunWork(void* argument) noexcept {
    const std::unique_ptr<std::function<unsigned()>> work(static_cast<std::function<unsigned()>*>(argument));
    return (*work)();
}

}  // namespace

CKernelHandle LaunchThread(std::function<unsigned()> work, bool bHeld) {
    auto owned = std::make_unique<std::function<unsigned()>>(std::move(work));
    const unsigned flags = bHeld ? CREATE_SUSPENDED : 0;
    CKernelHandle thread(reinterpret_cast<HANDLE>(
        _beginthreadex(/*security=*/nullptr, /*stack_size=*/0, &RunWork, owned.get(), flags, nullptr)));
    if (thread) {
        (void)owned.release();  // the thread has it now
    }
    return thread;
}
