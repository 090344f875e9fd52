#include "client/request_handles.h"

#include <map>
#include <utility>

#include "client/native_lock.h"
#include "foundation/thread_annotations.h"

namespace {

struct Handles {
    CNativeLock lock;
    std::map<nexlet_request, RequestEntry> requests NXL_GUARDED_BY(lock);
    nexlet_request nLast NXL_GUARDED_BY(lock) = 0;
};

// Made when the library is loaded and never destroyed: at the end of the process threads may be anywhere.
Handles* const g_pHandles = new Handles;

}  // namespace

nexlet_request ReserveRequest() {
    const CNativeGuard lock(g_pHandles->lock);
    return ++g_pHandles->nLast;
}

void AddRequest(nexlet_request handle, RequestEntry entry) {
    const CNativeGuard lock(g_pHandles->lock);
    g_pHandles->requests[handle] = std::move(entry);
}

RequestEntry FindRequestEntry(nexlet_request handle) {
    const CNativeGuard lock(g_pHandles->lock);
    const auto found = g_pHandles->requests.find(handle);
    return found != g_pHandles->requests.end() ? found->second : RequestEntry();
}

RequestEntry RemoveRequest(nexlet_request handle) {
    const CNativeGuard lock(g_pHandles->lock);
    const auto found = g_pHandles->requests.find(handle);
    if (found == g_pHandles->requests.end()) {
        return {};
    }
    RequestEntry entry = std::move(found->second);
    g_pHandles->requests.erase(found);
    return entry;
}
