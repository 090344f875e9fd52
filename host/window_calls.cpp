#include "host/window_calls.h"

#include <atomic>

namespace {

const WindowCalls kPlatform = {&SetTimer, &KillTimer, &SendMessageTimeoutW};

std::atomic<const WindowCalls*> g_pCalls{&kPlatform};

}  // namespace

const WindowCalls& GetWindowCalls() {
    return *g_pCalls.load();
}

void OverrideWindowCalls(const WindowCalls* calls) {
    g_pCalls.store(calls != nullptr ? calls : &kPlatform);
}
