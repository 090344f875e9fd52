// The server end of a caller's pipe: a byte stream for exactly one helper connection at a time, and the gate event.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/caller_result.h"
#include "client/turn.h"
#include "foundation/handle.h"

// What a caller's pipe tells its owner. All on the pipe's own thread, one call at a time.
class ICallerPipeSink {
  public:
    // Somebody opened the pipe: the helper, or its probe once a minute, which leaves without a byte.
    virtual void OnConnected() = 0;
    // Bytes in the order they came, cut anywhere.
    virtual void OnBytes(const char* data, std::size_t size) = 0;
    virtual void OnLost() = 0;

  protected:
    ~ICallerPipeSink() = default;
};

// Serves from Start to Stop; after a lost connection it listens again, before it tells the loss. While a helper is
// connected every other open finds the pipe busy, which the helper's probe takes for alive. Start and Stop on one
// thread at a time, the rest on any.
class CCallerPipe {
  public:
    CCallerPipe(std::wstring strPipeName, std::wstring strGateName, ICallerPipeSink& sink);
    ~CCallerPipe() { Stop(); }
    CCallerPipe(const CCallerPipe&) = delete;
    CCallerPipe& operator=(const CCallerPipe&) = delete;

    // Makes the gate, manual-reset and signalled, and the pipe, and begins to listen. NameTaken when the pipe has a
    // server already, AccessDenied when the gate belongs to a process that keeps this one out; on any failure
    // systemError holds the system's reason. Who may open either: CallerRights.
    CallerResult Start(DWORD& systemError);

    // Ends the connection and the listening, for good. When it returns no sink call and no send is under way and none
    // will come. What was sent can still be read at the other end.
    void Stop();

    // Begins what Stop does and does not wait: for any thread, the sink's among them.
    void RequestStop();

    // Writes the bytes and returns when the system has taken them all, which for more than the pipe's buffer means that
    // the helper has read the first of them. The write begins under the gate, which is waited for up to a second and
    // then passed whatever the wait said. Senders wait for each other. All of that takes timeoutMs at most. A write
    // that is cut off ends the connection, since what followed would not begin at a frame.
    CallerResult Send(std::string_view bytes, DWORD timeoutMs);

    // Ends the connection of the moment, if there is one, and listens again.
    void Disconnect();

    bool Connected() const { return m_bConnected; }
    // The process at the other end of the connection, 0 when the system does not tell. For the sink's calls alone.
    DWORD ClientProcessId() const;

  private:
    // What an attempt to listen has come to.
    enum class Listening { Pending, Connected, Failed };

    static DWORD WINAPI ThreadEntry(void* self);
    void Serve();
    Listening Listen(OVERLAPPED& listening);
    bool Accept(OVERLAPPED& listening, Listening state);
    void ReadUntilLost();
    bool Stopping() const;
    void ClosePipe();
    // Waits for the write that was started.
    CallerResult Finish(OVERLAPPED& overlapped, std::size_t size, DWORD timeoutMs);

    const std::wstring m_strPipeName;
    const std::wstring m_strGateName;
    ICallerPipeSink& m_sink;

    // Made by Start, closed once no thread sends: by the thread at its end, or by Stop.
    CFileHandle m_hPipe;
    CKernelHandle m_hGate;
    CKernelHandle m_hStop;   // manual-reset: the thread ends
    CKernelHandle m_hDrop;   // auto-reset: the thread lets the connection go
    CKernelHandle m_hRead;   // of the one pending accept or read
    CKernelHandle m_hWrite;  // of the one pending write
    CKernelHandle m_hThread;

    CTurn m_turnSend;  // one sender at a time
    std::atomic<bool> m_bConnected{false};
    std::atomic<std::uint64_t> m_nConnection{0};  // the number of the connection of the moment, or of the last one
    std::atomic<std::uint64_t> m_nCutOff{0};      // of the last one in which a write was cut off
    std::vector<char> m_vecChunk;
};
