// The server of a named pipe: one connection at a time.
#pragma once

#include <memory>

#include "ipc/transport/iocp_object.h"

// The next instance of the pipe is made only when the current connection has ended.
//
//   Down       CreateListener succeeds               Listening
//              CreateListener fails                  Down for good
//   Listening  a client comes                        Connected: sink told, first read posted
//   Connected  a completion fails, alone             Listening by a new listener, then Lost is called
//              a completion fails, others pending    Connected, until the last of them is done
//   any        Stop                                  no new listener, no Lost; the worker ends when nothing is
//   connected
class CIOCP_Server final : public CIOCP_Object, public std::enable_shared_from_this<CIOCP_Server> {
  public:
    static std::shared_ptr<CIOCP_Server> Create();
    ~CIOCP_Server() = default;

    // Starts the worker. False when the thread could not be started, or there is one.
    bool StartThread();
    // Makes an instance of the pipe and its gate event, signalled, and waits for a client. A failure is silent and
    // final: no other listener is made.
    void CreateListener();

    // The worker's work; its result is the thread's exit code, 0.
    static unsigned WorkerThread(const std::shared_ptr<CIOCP_Server>& pServer);

  private:
    CIOCP_Server() = default;

    void Process(CIOBuffer* pBuffer, CClientContext* pContext, DWORD nBytes);
    // Ends the connection when nothing is pending on it, and listens again; otherwise the last completion will, however
    // it ends.
    void EndIfIdle(CClientContext* pContext);

    CClientContext* m_pEnding = nullptr;  // over, but something is still pending on it; the worker alone
};
