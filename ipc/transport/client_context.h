// One pipe connection: one read in flight and a queue of writes.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "foundation/handle.h"
#include "foundation/lock.h"
#include "foundation/thread_annotations.h"
#include "ipc/transport/frame_cutter.h"
#include "ipc/transport/io_buffer.h"

// A completion port, kept open for as long as any thread may still wait on it or post to it.
using CSharedPort = std::shared_ptr<const CKernelHandle>;

// A read that was done at once.
struct Completion {
    bool bDone = false;
    DWORD nBytes = 0;
};

// Life of a context. It is made and posts its first operation on any one thread. From then on its worker alone runs
// Process, PostRead and teardown; PostWrite and ClosePipe may be called on any thread at any time.
//
//   open      operations are posted; each raises m_nPendingIo before the call and lowers it in one place: where the
//             call fails at once, or where its completion was taken from the port
//   closed    TryClose or Abandon: nothing is queued any more, senders drop what they bring
//   freed     by the last owner, with m_nPendingIo 0: until then the kernel holds the buffers
class CClientContext final {
  public:
    // A critical section that cannot be made raises the system failure that nothing catches.
    explicit CClientContext(CSharedPort hPort);
    ~CClientContext();
    CClientContext(const CClientContext&) = delete;
    CClientContext& operator=(const CClientContext&) = delete;

    // The client's end: opens the pipe with a single attempt, binds it to the port and makes the read buffer. Logs a
    // failure with its error.
    void OpenPipe(const std::wstring& strPipe);
    // The server's end: makes one instance of the pipe, binds it to the port and makes its buffers.
    void MakePipe(const std::wstring& strPipe);
    // Waits for a client on a pipe of MakePipe. False when no client will come through this context.
    bool PostAccept();

    // Keeps one read pending. 1 when it is, 0 on failure. A read that is done at once gives a packet all the same when
    // pAtOnce is null; otherwise it is counted as pending, and pAtOnce says what the packet would have said.
    int PostRead(Completion* pAtOnce = nullptr);

    // Queues one frame with the payload; the worker starts the write. Drops it when the connection is closed, when
    // memory for the record is lacking or when length is negative. Any thread.
    void PostWrite(const void* data, std::int32_t length);

    // Around the handling of one completion on the worker. Whatever is queued between the two calls, on any thread, is
    // started by the second one in the order of the queue, without a packet through the port. nOperation is what
    // completed.
    void BeginServing(IOType nOperation);
    // 1, or 0 when a write failed at once.
    int StartQueuedWrites();

    // Retires a completed write. A write is not continued when it was partial.
    void FinishWrite(CIOWriteBuffer* pBuffer, std::uint32_t nBytes);

    // Takes one completed operation, or one that was done at once, off the count.
    void EndOperation() { m_nPendingIo.fetch_sub(1); }
    bool HasPendingIo() const { return m_nPendingIo.load() != 0; }

    // Closes for good when nothing is pending: the pipe and the queue go, the buffers with the context. False, and
    // nothing changed, when something is pending.
    bool TryClose();
    // Closes the pipe and the door to senders although operations are pending; their completions are still to be taken
    // from the port before the context may go.
    void Abandon();
    // Closes the pipe handle alone, which ends the pending operations. Any thread.
    void ClosePipe();

    bool HasPipe() const;
    bool HasReadBuffer() const { return m_pReadBuffer != nullptr; }
    bool HasAcceptBuffer() const { return m_pAcceptBuffer != nullptr; }
    const CSharedPort& Port() const { return m_hPort; }

    // Worker only.
    CFrameCutter m_frames;
    std::unique_ptr<CIOReadBuffer> m_pReadBuffer;      // the only one: at most one read is in flight
    std::unique_ptr<CIOAcceptBuffer> m_pAcceptBuffer;  // server side only

  private:
    int OnWriteBuffer(CIOWriteBuffer* pBuffer);
    // Posts the wake-up packet unless it is on its way or the worker looks anyway.
    void RequestWrites() NXL_REQUIRES(m_lockWrite);
    void Bind() NXL_REQUIRES(m_lockPipe);

    const CSharedPort m_hPort;
    // What succeeds at once gives no packet. Set before the first operation.
    bool m_bSkipsPackets = false;

    mutable CLock m_lockPipe;  // a leaf: no operation starts on a handle that another thread closes
    CFileHandle m_hPipe NXL_GUARDED_BY(m_lockPipe);

    CLock m_lockWrite;  // a leaf
    std::deque<std::unique_ptr<CIOWriteBuffer>> m_vecWriteBuffers
        NXL_GUARDED_BY(m_lockWrite);  // unfinished writes, oldest first
    std::size_t m_nStarted NXL_GUARDED_BY(m_lockWrite) =
        0;  // how many of them, from the front, were handed to the pipe
    bool m_bServing NXL_GUARDED_BY(m_lockWrite) =
        false;  // the worker is handling a completion and looks at the queue before it waits again
    bool m_bRequested NXL_GUARDED_BY(m_lockWrite) = false;  // m_writeRequest is in the port
    bool m_bClosed NXL_GUARDED_BY(m_lockWrite) = false;
    CIOWriteRequest m_writeRequest NXL_GUARDED_BY(m_lockWrite);

    std::atomic<std::int32_t> m_nPendingIo{0};
};
