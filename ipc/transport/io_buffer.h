// The records that carry one overlapped operation each.
#pragma once

#include <cstdint>
#include <memory>

#include "foundation/windows_headers.h"

// Bytes asked of each read.
inline constexpr DWORD PIPE_READ_CHUNK = 1024;

// What a buffer is carrying.
enum IOType : std::int32_t {
    IO_NONE = -1,          // made, nothing posted yet
    IO_ACCEPT = 0,         // a ConnectNamedPipe is pending
    IO_READ = 1,           // a ReadFile is pending
    IO_WRITE_REQUEST = 2,  // writes were queued and must be started on the worker
    IO_WRITE_DONE = 3,     // a WriteFile is pending
};

class CIOBuffer;

// The block that the kernel is given, followed by a pointer to its record.
struct OverlappedBlock : OVERLAPPED {
    explicit OverlappedBlock(CIOBuffer* pRecord) : OVERLAPPED{}, pOwner(pRecord) {}

    CIOBuffer* const pOwner;  // weak: the record that holds the block
};

// While an operation is pending the kernel holds the block, and the read or write the data too: a record is neither
// moved nor freed before its completion was taken from the port.
class CIOBuffer {
  public:
    CIOBuffer() : m_overlapped(this) {}
    virtual ~CIOBuffer() = default;
    CIOBuffer(const CIOBuffer&) = delete;
    CIOBuffer& operator=(const CIOBuffer&) = delete;

    // Clears the block for the next operation and returns it.
    OVERLAPPED* Prepare(IOType nOperation) {
        m_nOperation = nOperation;
        static_cast<OVERLAPPED&>(m_overlapped) = OVERLAPPED{};
        return &m_overlapped;
    }

    // The record of a block that a completion port gave back.
    static CIOBuffer* FromOverlapped(OVERLAPPED* pOverlapped) {
        return static_cast<OverlappedBlock*>(pOverlapped)->pOwner;
    }

    IOType m_nOperation = IO_NONE;
    OverlappedBlock m_overlapped;
};

class CIOAcceptBuffer final : public CIOBuffer {};

class CIOReadBuffer final : public CIOBuffer {
  public:
    unsigned char m_data[PIPE_READ_CHUNK];
    std::uint32_t m_nBytesRead = 0;  // of the last completion
};

class CIOWriteBuffer final : public CIOBuffer {
  public:
    std::unique_ptr<unsigned char[]> m_data;
    std::uint32_t m_nTotal = 0;    // bytes in m_data
    std::uint32_t m_nWritten = 0;  // bytes of them written
    bool m_bDone = false;          // completed, well or in part
};

// Wakes the worker to start what is queued. A connection has one and posts it again only when it has come back.
class CIOWriteRequest final : public CIOBuffer {};
