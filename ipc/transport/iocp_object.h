// What the pipe client and the pipe server have in common: a port, a worker, a write gate and the current connection.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/handle.h"
#include "foundation/lock.h"
#include "foundation/thread_annotations.h"
#include "ipc/transport/client_context.h"
#include "ipc/transport/pipe_connect_callback.h"
#include "ipc/transport/write_gate.h"

// How long WaitForThread waits for the worker.
inline constexpr DWORD kWorkerWaitMs = 1000;

// Held by shared pointers: the owner has one and the worker another, so whatever a late worker touches is alive. An
// owner that releases it calls Stop and WaitForThread first; without them the worker continues to serve its connection.
//
// SetCallback and SetNames come before the worker and the connection; everything else may be called on any thread.
class CIOCP_Object {
  public:
    CIOCP_Object(const CIOCP_Object&) = delete;
    CIOCP_Object& operator=(const CIOCP_Object&) = delete;

    void SetCallback(std::shared_ptr<IPipeConnectCallback> pCallback) { m_pCallback = std::move(pCallback); }
    // With an empty event name sends wait for no gate.
    void SetNames(const std::wstring& strPipe, const std::wstring& strEvent);

    // Sends text, up to its first NUL, as one frame. 1 when it was handed on, 0 when there is no connection.
    //
    // Waits up to kGateWaitMs for the gate, sends whatever came of it, and leaves the gate closed when there is no
    // connection: the next sender on that pipe, here or in the other process, then sits out its full wait. Callers
    // rely on a failed send giving no signal; IocpClientTest.FailedSendLeavesTheGateClosed holds it.
    int Send(const std::string& text);

    // Asks the worker to end: closes the current connection's pipe, which ends its pending operations, and wakes it.
    // A worker without a connection, or that listens for one, takes no notice until the port is closed.
    void Stop();

    // Waits for the worker, then closes the port for this object. A worker that has not ended keeps its handle here and
    // ends by itself as soon as it can. Returns at once on the worker itself.
    void WaitForThread(DWORD nWaitMs = kWorkerWaitMs);

    // Closes the port for this object without waiting: the worker closes its connection without telling the sink and
    // ends, once it is back from a handler.
    void ClosePort();

    // Whether there is a current connection.
    bool HasContext() const { return Context() != nullptr; }

    // The worker's handle, null before it is started and when WaitForThread saw it end. Of the owner's thread.
    HANDLE Thread() const { return m_hThread.get(); }
    bool HasPort() const { return Port() != nullptr; }

  protected:
    CIOCP_Object();
    // Waits for what is still pending when there was no worker to take it.
    ~CIOCP_Object();

    // One packet of the port. False when the wait itself failed, which only an unusable port does.
    struct Packet {
        bool bGood = false;  // the operation succeeded
        DWORD nBytes = 0;
        CClientContext* pContext = nullptr;  // weak: kept by m_vecContexts while the operation is pending
        CIOBuffer* pBuffer = nullptr;        // weak: kept by its context
    };
    static Packet WaitForPacket(HANDLE hPort, DWORD nWaitMs = INFINITE);
    // What the worker is to handle next: a read that was done at once, or the next packet. Worker only.
    Packet NextPacket(HANDLE hPort);

    // Makes a context that lives until Forget, or, when the port is closed already, gives null.
    std::shared_ptr<CClientContext> MakeContext();
    // Drops a context that is closed. It is no longer the current one.
    void Forget(const CClientContext* pContext);
    void SetContext(const std::shared_ptr<CClientContext>& pContext);
    // The owner's share of a context that a packet names.
    std::shared_ptr<CClientContext> Shared(const CClientContext* pContext) const;
    std::shared_ptr<CClientContext> Context() const;
    CSharedPort Port() const;
    // Whether any connection has an operation whose packet is still to come.
    bool HasPendingIo() const;
    // Ends every connection without telling the sink and takes what is pending from the port. Worker only.
    void AbandonConnections(HANDLE hPort);
    bool LaunchWorker(std::function<unsigned()> work);

    // The work of one good completion and of the writes that wait for it. 0 when the connection should end if nothing
    // is pending on it, else 1.
    int Handle(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes);

    // The gate in effect. Replaced by every listener, hence shared with the senders that are waiting on it.
    std::shared_ptr<const CKernelHandle> Gate() const;
    void SetGate(HANDLE hEvent);

    std::shared_ptr<IPipeConnectCallback> m_pCallback;
    std::wstring m_strPipe;
    std::wstring m_strEvent;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bPortClosed{false};

  private:
    CKernelHandle m_hThread;
    std::atomic<DWORD> m_nThreadId{0};

    // Of the worker. A read that was done at once and waits to be handled; pBuffer is null when there is none.
    Packet m_atOnce;
    int m_nAtOnceInARow = 0;

    mutable CLock m_lockContext;  // a leaf
    CSharedPort m_hPort NXL_GUARDED_BY(m_lockContext);
    std::shared_ptr<const CKernelHandle> m_hEvent NXL_GUARDED_BY(m_lockContext);
    std::shared_ptr<CClientContext> m_pContext NXL_GUARDED_BY(m_lockContext);
    std::vector<std::shared_ptr<CClientContext>> m_vecContexts
        NXL_GUARDED_BY(m_lockContext);  // every context that is not freed
};
