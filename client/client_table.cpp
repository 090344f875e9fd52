#include "client/client_table.h"
#include "foundation/thread_annotations.h"

#include <map>

namespace {

struct Table {
    CNativeLock lock;
    CNativeCondition changed;
    std::map<nexlet_client, std::shared_ptr<void>> clients NXL_GUARDED_BY(lock);
    nexlet_client nLast NXL_GUARDED_BY(lock) = 0;
};

// Made when the library is loaded and never destroyed: at the end of the process threads may be anywhere.
Table* const g_pTable = new Table;

}  // namespace

struct CClientUse::Entry {
    Entry(nexlet_client handle, const nexlet_options& options) : client(handle, options) {}

    int nUses NXL_GUARDED_BY(g_pTable->lock) = 0;
    CClient client;
};

CClientUse::CClientUse(nexlet_client handle) {
    const CNativeGuard lock(g_pTable->lock);
    const auto found = g_pTable->clients.find(handle);
    if (found != g_pTable->clients.end()) {
        m_pEntry = std::static_pointer_cast<Entry>(found->second);
        ++m_pEntry->nUses;
    }
}

CClientUse::~CClientUse() {
    if (m_pEntry != nullptr) {
        {
            const CNativeGuard lock(g_pTable->lock);
            --m_pEntry->nUses;
        }
        g_pTable->changed.NotifyAll();
    }
}

CClient& CClientUse::operator*() const {
    return m_pEntry->client;
}

CallerResult AddClient(const nexlet_options& options, nexlet_client& handle, DWORD& systemError) {
    nexlet_client next = 0;
    {
        const CNativeGuard lock(g_pTable->lock);
        next = ++g_pTable->nLast;
    }
    const auto entry = std::make_shared<CClientUse::Entry>(next, options);
    {
        // In the table before it is open: a callback may come at once, and asks for its client by the handle.
        const CNativeGuard lock(g_pTable->lock);
        g_pTable->clients[next] = entry;
    }
    const CallerResult result = entry->client.Open();
    systemError = entry->client.Caller().SystemError();
    if (result == CallerResult::Ok) {
        handle = next;
    } else {
        RemoveClient(next);
    }
    return result;
}

bool RemoveClient(nexlet_client handle) {
    std::shared_ptr<CClientUse::Entry> entry;
    {
        const CNativeGuard lock(g_pTable->lock);
        const auto found = g_pTable->clients.find(handle);
        if (found == g_pTable->clients.end()) {
            return false;
        }
        entry = std::static_pointer_cast<CClientUse::Entry>(found->second);
        g_pTable->clients.erase(found);
    }
    entry->client.Close();
    CNativeHold lock(g_pTable->lock);
    while (entry->nUses != 0) {
        g_pTable->changed.Wait(lock, INFINITE);
    }
    return true;
}
