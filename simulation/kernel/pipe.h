// Named pipes of bytes: instances with a server's end and a client's, each with what is on its way to it.
#pragma once

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulation/kernel/port.h"

namespace simulation {

class CPipeEnd;

struct PipeOpening {
    DWORD nMaxInstances = 0;
    DWORD nOutQuota = 0;  // bytes that the server may write before they are read; 0: none
    DWORD nInQuota = 0;
    bool bOverlapped = false;
    bool bFirst = false;    // only if no pipe of the name is served
    bool bInbound = true;   // whether clients may write
    bool bOutbound = true;  // whether clients may read
};

// One instance.
//
//   Listening     a client may connect, whether or not the server waits for it
//   Connected     both ends are there
//   Closing       the client has gone, and the server has not disconnected
//   Disconnected  the server has cut the client off, and does not listen
class CPipe {
  public:
    enum class State { Listening, Connected, Closing, Disconnected };
    enum Side { kServer = 0, kClient = 1 };

    CPipe(DWORD nServerProcess, const PipeOpening& opening) : m_nServerProcess(nServerProcess) {
        m_inbound[kServer].nQuota = opening.nInQuota;
        m_inbound[kClient].nQuota = opening.nOutQuota;
    }

    // The client's end; null when this instance does not listen.
    std::shared_ptr<CPipeEnd> Connect(const std::shared_ptr<CPipe>& pSelf, bool bOverlapped);
    void Accept(const IoPointer& pIo);
    // False with the error when there is nothing to disconnect.
    DWORD Disconnect();
    void Read(Side side, const IoPointer& pIo);
    void Write(Side side, const IoPointer& pIo);
    bool Cancel(Side side, const OVERLAPPED* pOverlapped);
    void Close(Side side);
    std::size_t Available(Side side) const;
    // As the instance was made.
    DWORD OutQuota() const { return static_cast<DWORD>(m_inbound[kClient].nQuota); }
    DWORD InQuota() const { return static_cast<DWORD>(m_inbound[kServer].nQuota); }
    // 0, or why nothing can be read or written.
    DWORD Refusal(Side side, bool bWrite) const;

    State m_state = State::Listening;
    std::uint32_t m_nConnection = 0;  // of the client that came last
    const DWORD m_nServerProcess;
    DWORD m_nClientProcess = 0;  // of the client that came last

  private:
    // Bytes on their way. While the write is pending they lie in the writer's buffer.
    struct Bytes {
        IoPointer pWrite;
        std::vector<unsigned char> kept;
        std::size_t nRead = 0;
        std::uint32_t nWriter = 0;  // the process

        std::size_t Size() const { return pWrite ? pWrite->m_nSize : kept.size(); }
        const unsigned char* Data() const { return pWrite ? pWrite->m_pBuffer : kept.data(); }
    };
    struct Direction {
        std::deque<Bytes> queue;
        std::deque<IoPointer> readers;
        DWORD nQuota = 0;
    };

    static constexpr Side Other(Side side) { return side == kServer ? kClient : kServer; }
    void Move(Direction& direction);
    static void EndReaders(Direction& direction, DWORD nError);
    // Writes that are pending fail, and what they brought is gone; with bAll what was taken from the writers is, too.
    static void EndWrites(Direction& direction, DWORD nError, bool bAll);

    std::array<Direction, 2> m_inbound;  // by the side that reads
    std::array<bool, 2> m_bOpen{true, false};
    IoPointer m_pAccept;
};

// One end as a file.
class CPipeEnd final : public CFile {
  public:
    CPipeEnd(std::shared_ptr<CPipe> pPipe, CPipe::Side side, bool bOverlapped)
        : CFile(bOverlapped), m_pPipe(std::move(pPipe)), m_side(side), m_nConnection(m_pPipe->m_nConnection) {}
    const char* Kind() const override { return "pipe"; }
    void Read(const IoPointer& pIo) override;
    void Write(const IoPointer& pIo) override;
    bool Cancel(const OVERLAPPED* pOverlapped) override;
    void LastHandleClosed() override;

    const std::shared_ptr<CPipe> m_pPipe;
    const CPipe::Side m_side;

  private:
    // A client that the server has disconnected, also when another has come since.
    bool IsCutOff() const { return m_side == CPipe::kClient && m_nConnection != m_pPipe->m_nConnection; }

    const std::uint32_t m_nConnection;
};

// The names under which pipes are served. Without regard to case.
class CPipeNames {
  public:
    static bool IsPipeName(const std::wstring& strName);
    // The server's end of a new instance, or null with the error.
    std::shared_ptr<CPipeEnd> Serve(const std::wstring& strName, const PipeOpening& opening, DWORD nProcess,
                                    DWORD& nError);
    // A client's end, or null with the error.
    std::shared_ptr<CPipeEnd> Open(const std::wstring& strName, DWORD nAccess, bool bOverlapped, DWORD& nError);
    // Whether there is a server of this name; bListens: whether a client could connect to one now.
    bool IsServed(const std::wstring& strName, bool& bListens);

  private:
    struct Name {
        PipeOpening opening;  // of the first instance
        std::vector<std::weak_ptr<CPipeEnd>> servers;
    };
    Name* Find(const std::wstring& strName);

    std::map<std::wstring, Name> m_names;
};

}  // namespace simulation
