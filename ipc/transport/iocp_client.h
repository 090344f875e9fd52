// The client of a named pipe that another process serves.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "ipc/transport/iocp_object.h"
#include "ipc/transport/request_owner.h"

// One connection, ever: a lost one takes a new object.
//
//   Closed   CreateClientContext fails           Closed; there is no second attempt
//            CreateClientContext succeeds        Opened
//   Opened   the first PostRead succeeds         Reading
//   Reading  a completion fails, alone           Lost: context freed, Lost called, worker ended
//            a completion fails, others pending  Dead: worker ended without a call, sends are taken and dropped
//            an operation fails at once, alone   Lost, but the worker goes on until the port is closed
//            the same, a write pending           the same when the write is done; Lost or Dead as above when it fails
//            Stop                                pipe closed, so the read fails: as above
//   any      End                                 as Stop, and a worker for which nothing is pending ends, too
//
// CreateClientContext and StartThread may come in either order: completions only begin with the first PostRead.
class CIOCP_Client final : public CIOCP_Object,
                           public IRequestOwner,
                           public std::enable_shared_from_this<CIOCP_Client> {
  public:
    static std::shared_ptr<CIOCP_Client> Create();
    ~CIOCP_Client() = default;

    // What answers the requests that come in; the sink asks for it. Set before the worker is started.
    void SetOwner(std::weak_ptr<IRequestHandlers> pOwner) { m_pOwner = std::move(pOwner); }
    std::shared_ptr<IRequestHandlers> Owner() const override { return m_pOwner.lock(); }

    // Opens the pipe, with a single attempt, and the gate event. 1, or 0 when there is no connection.
    int CreateClientContext();
    // Starts the worker. False when the thread could not be started, or there is one.
    bool StartThread();
    // Stop for an owner that releases the connection. Stop leaves a worker asleep whose connection has ended already,
    // or never got a read: its port would give nothing but the closing, which WaitForThread does only after its wait.
    void End();
    // Posts the first read on the current connection. 1, or 0 when it failed or there is no connection.
    int PostRead();

    // The worker's work; its result is the thread's exit code, 0.
    static unsigned WorkerThread(const std::shared_ptr<CIOCP_Client>& pClient);

  private:
    CIOCP_Client() = default;

    void Process(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes);
    // Tells whether the connection ended here: closed, freed and the sink told.
    bool EndIfIdle(CClientContext* pContext);

    std::weak_ptr<IRequestHandlers> m_pOwner;
    std::atomic<bool> m_bEnding{false};
    CClientContext* m_pEnding = nullptr;  // over, but something is still pending on it; the worker alone
};

// Whether a process serves the pipe of this name. The probe is a real connect: the server sees a client come and go.
// A server whose instances are all taken counts.
bool DoesNamedPipeExist(const std::wstring& strName);
