#include "ipc/transport/frame_cutter.h"

#include <algorithm>
#include <limits>

#include "foundation/little_endian.h"
#include "ipc/transport/frame.h"

namespace {

// The longest payload whose length a sink can be told as a positive number.
constexpr std::uint32_t kLongestDelivered = std::numeric_limits<std::int32_t>::max();

}  // namespace

bool CFrameCutter::Header::Dropped() const {
    return nType != PIPE_FRAME_MAGIC || nLength > kLongestDelivered;
}

CFrameCutter::Header CFrameCutter::PeekHeader() const {
    const char* front = m_strReceived.data() + m_nTaken;
    return {LittleEndian<std::uint32_t>(front), LittleEndian<std::uint32_t>(front + 4)};
}

void CFrameCutter::Append(const void* data, std::size_t nSize) {
    m_strReceived.append(static_cast<const char*>(data), nSize);
}

bool CFrameCutter::HasCompleteFrame() const {
    if (m_bDropping) {
        return m_nToDrop <= Size();
    }
    // In 64 bits, so that a huge length cannot wrap.
    return Size() >= kFrameHeaderSize && std::uint64_t{PeekHeader().nLength} + kFrameHeaderSize <= Size();
}

void CFrameCutter::DispatchFrames(IPipeConnectCallback* pCallback) {
    for (;;) {
        if (m_bDropping) {
            const std::size_t nDropped = static_cast<std::size_t>(std::min<std::uint64_t>(m_nToDrop, Size()));
            m_nTaken += nDropped;
            m_nToDrop -= nDropped;
            if (m_nToDrop > 0) {
                break;
            }
            m_bDropping = false;
            if (m_dropped.nType == PIPE_FRAME_MAGIC && pCallback != nullptr) {
                const unsigned char nothing = 0;
                pCallback->Received(&nothing, static_cast<std::int32_t>(m_dropped.nLength));
            }
            continue;
        }
        if (Size() < kFrameHeaderSize) {
            break;
        }
        const Header header = PeekHeader();
        if (header.Dropped()) {
            // There is no resynchronisation: the bytes after the frame are read as the next one.
            m_nTaken += kFrameHeaderSize;
            m_bDropping = true;
            m_nToDrop = header.nLength;
            m_dropped = header;
            continue;
        }
        if (!HasCompleteFrame()) {
            break;
        }
        if (pCallback != nullptr) {
            Deliver(pCallback, header.nLength);
        }
        m_nTaken += kFrameHeaderSize + header.nLength;
    }
    if (m_nTaken > 0) {
        // Once for all frames of this pass: moving the rest down after each would be quadratic in a full buffer.
        m_strReceived.erase(0, m_nTaken);
        m_nTaken = 0;
        ShrinkReceiveBuffer();
    }
}

void CFrameCutter::Deliver(IPipeConnectCallback* pCallback, std::uint32_t nLength) {
    char* payload = m_strReceived.data() + m_nTaken + kFrameHeaderSize;
    char* after = payload + nLength;
    const auto* data = reinterpret_cast<const unsigned char*>(payload);
    const auto length = static_cast<std::int32_t>(nLength);
    if (after == m_strReceived.data() + m_strReceived.size()) {
        pCallback->Received(data, length);  // the string's own terminator is there
        return;
    }
    const char saved = *after;
    *after = '\0';
    pCallback->Received(data, length);
    *after = saved;
}

void CFrameCutter::ShrinkReceiveBuffer() {
    if (m_strReceived.capacity() >= PIPE_SHRINK_CAPACITY) {
        // Swapped, since an assignment would copy a short rest into the buffer that is to go.
        std::string(m_strReceived).swap(m_strReceived);
    }
}
