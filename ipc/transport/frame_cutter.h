// Cuts the bytes of a pipe, which come in any pieces, into the frames that were sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ipc/transport/pipe_connect_callback.h"

// The receive buffer's capacity at and above which it is reallocated once a frame was taken out of it, so that one
// burst does not pin the memory for the rest of a connection.
inline constexpr std::size_t PIPE_SHRINK_CAPACITY = 10485761;

// The receiving half of one connection. Not locked: one thread uses it, and a sink must not call back into it.
//
// What a frame may cost is bounded by what is delivered of it: up to 2 GiB of payload are gathered, since nothing tells
// a long message from a hostile one, while the payload of a frame that is skipped or longer is counted and dropped.
class CFrameCutter {
  public:
    // Adds received bytes. Time is linear in nSize.
    void Append(const void* data, std::size_t nSize);

    // Whether at least one whole frame is waiting to be taken.
    bool HasCompleteFrame() const;

    // Takes every whole frame out, in order, and delivers those of PIPE_FRAME_MAGIC to pCallback, which may be null.
    // Time is linear in the bytes taken, however many frames they hold.
    void DispatchFrames(IPipeConnectCallback* pCallback);

    // Whether the bytes so far end where a frame ends.
    bool AtFrameEnd() const { return Size() == 0 && !m_bDropping; }

    // What is held and what is reserved, in bytes.
    std::size_t Size() const { return m_strReceived.size() - m_nTaken; }
    std::size_t Capacity() const { return m_strReceived.capacity(); }

  private:
    struct Header {
        std::uint32_t nType;
        std::uint32_t nLength;
        // Nothing of the payload is delivered, so none of it is kept.
        bool Dropped() const;
    };

    Header PeekHeader() const;
    void Deliver(IPipeConnectCallback* pCallback, std::uint32_t nLength);
    void ShrinkReceiveBuffer();

    std::string m_strReceived;
    std::size_t m_nTaken = 0;  // bytes at the front that belong to frames already delivered; 0 between calls
    // A frame whose payload is dropped as it comes: the bytes still to come, and the length to report at its end.
    std::uint64_t m_nToDrop = 0;
    bool m_bDropping = false;
    Header m_dropped{};
};
