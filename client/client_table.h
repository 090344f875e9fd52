// The clients of this process by their handles.
#pragma once

#include <memory>

#include "client/client.h"

// Holds a client for the length of one call, so that a close on another thread waits for it. Empty when the handle is
// nobody's.
class CClientUse {
  public:
    explicit CClientUse(nexlet_client handle);
    ~CClientUse();
    CClientUse(const CClientUse&) = delete;
    CClientUse& operator=(const CClientUse&) = delete;

    explicit operator bool() const { return m_pEntry != nullptr; }
    CClient& operator*() const;
    CClient* operator->() const { return &**this; }

  private:
    struct Entry;
    friend CallerResult AddClient(const nexlet_options& options, nexlet_client& handle, DWORD& systemError);
    friend bool RemoveClient(nexlet_client handle);

    std::shared_ptr<Entry> m_pEntry;
};

// Makes a client, opens it, and gives it a handle that was never used.
CallerResult AddClient(const nexlet_options& options, nexlet_client& handle, DWORD& systemError);

// Takes the handle away, closes the client and waits until no thread uses it. False when the handle is nobody's. Not
// inside a use or a callback of the same client.
bool RemoveClient(nexlet_client handle);
