// Completion ports and the operations that end there.
#pragma once

#include <deque>
#include <list>
#include <memory>

#include "simulation/include/winapi/errors.h"
#include "simulation/include/winapi/files.h"
#include "simulation/kernel/object.h"

namespace simulation {

struct Packet {
    DWORD nError = 0;
    DWORD nBytes = 0;
    ULONG_PTR nKey = 0;
    OVERLAPPED* pOverlapped = nullptr;
    bool bOfFile = false;  // the end of an operation, not what was posted
};

class CPort final : public CObject {
  public:
    explicit CPort(bool bClosingWakes) : m_bClosingWakes(bClosingWakes) {}
    const char* Kind() const override { return "completion port"; }
    void LastHandleClosed() override;
    void Post(const Packet& packet);

    enum class Got { Packet, Timeout, Closed };
    Got Get(Packet& packet, Nanoseconds nDeadline);

  private:
    const bool m_bClosingWakes;
    bool m_bClosed = false;
    std::deque<Packet> m_packets;
    CWaitList m_getters;
};

class CFile;

// One operation on a file, from its start to its completion. Until then it holds what the caller handed in, as the
// system does: the block is written to and the buffer is read or written at the moment of the transfer.
class CIo : public std::enable_shared_from_this<CIo> {
  public:
    // pOverlapped is null for an operation whose caller waits for it in the call.
    CIo(std::shared_ptr<CFile> pFile, OVERLAPPED* pOverlapped, void* pBuffer, DWORD nSize);

    void Complete(DWORD nError, DWORD nBytes);
    // The result of the call that started it. Waits when there is no block.
    BOOL Finish(DWORD* pBytes);

    const std::shared_ptr<CFile> m_pFile;
    OVERLAPPED* const m_pOverlapped;
    unsigned char* const m_pBuffer;
    const DWORD m_nSize;
    DWORD m_nMoved = 0;
    bool m_bStarting = true;  // the call that starts it has not returned
    bool m_bDone = false;
    DWORD m_nError = 0;

  private:
    const std::uint32_t m_nProcess;  // that started it
    std::shared_ptr<CEvent> m_pEvent;
    std::weak_ptr<CPort> m_pPort;
    ULONG_PTR m_nKey = 0;
    CWaitList m_waiters;
};

using IoPointer = std::shared_ptr<CIo>;

// What can be read, written and bound to a port. Waiting on it waits for the last operation on it.
class CFile : public CObject {
  public:
    explicit CFile(bool bOverlapped) : m_bOverlapped(bOverlapped) {}
    bool IsSignalled(const CTask&) const override { return m_bSignalled; }

    virtual void Read(const IoPointer& pIo) = 0;
    virtual void Write(const IoPointer& pIo) = 0;
    // Cancels the operation of this block, or every one for null. False when there is none.
    virtual bool Cancel(const OVERLAPPED* pOverlapped) = 0;

    const bool m_bOverlapped;
    bool m_bSkipsPackets = false;  // for what succeeds within its call
    bool m_bSignalled = false;
    std::weak_ptr<CPort> m_pPort;
    ULONG_PTR m_nKey = 0;
};

}  // namespace simulation
