#include "client/client_table.h"

#include <map>

struct CClientUse::Entry {
    Entry(nexlet_client handle, const nexlet_options& options) : client(handle, options) {}

    int nUses = 0;  // guarded by the table's lock
    CClient client;
};

namespace {

struct Table {
    CNativeLock lock;  // guards the table, and the uses of its entries
    CNativeCondition changed;
    std::map<nexlet_client, std::shared_ptr<void>> clients;
    nexlet_client nLast = 0;
};

// Made when the library is loaded and never destroyed: at the end of the process threads may be anywhere.
Table* const g_pTable = new Table;

Table& TheTable() {
    return *g_pTable;
}

}  // namespace

CClientUse::CClientUse(nexlet_client handle) {
    Table& table = TheTable();
    const CNativeGuard lock(table.lock);
    const auto found = table.clients.find(handle);
    if (found != table.clients.end()) {
        m_pEntry = std::static_pointer_cast<Entry>(found->second);
        ++m_pEntry->nUses;
    }
}

CClientUse::~CClientUse() {
    if (m_pEntry != nullptr) {
        Table& table = TheTable();
        {
            const CNativeGuard lock(table.lock);
            --m_pEntry->nUses;
        }
        table.changed.NotifyAll();
    }
}

CClient& CClientUse::operator*() const {
    return m_pEntry->client;
}

CallerResult AddClient(const nexlet_options& options, nexlet_client& handle, DWORD& systemError) {
    Table& table = TheTable();
    nexlet_client next = 0;
    {
        const CNativeGuard lock(table.lock);
        next = ++table.nLast;
    }
    const auto entry = std::make_shared<CClientUse::Entry>(next, options);
    {
        // In the table before it is open: a callback may come at once, and asks for its client by the handle.
        const CNativeGuard lock(table.lock);
        table.clients[next] = entry;
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
    Table& table = TheTable();
    std::shared_ptr<CClientUse::Entry> entry;
    {
        const CNativeGuard lock(table.lock);
        const auto found = table.clients.find(handle);
        if (found == table.clients.end()) {
            return false;
        }
        entry = std::static_pointer_cast<CClientUse::Entry>(found->second);
        table.clients.erase(found);
    }
    entry->client.Close();
    CNativeHold lock(table.lock);
    while (entry->nUses != 0) {
        table.changed.Wait(lock, INFINITE);
    }
    return true;
}
