#include "ipc/protocol/reply_callback.h"

#include <string>

#include "foundation/log.h"
#include "foundation/text_helpers.h"

void CPipeClientCallback2::Connected() {
    NXL_LOG(L"[%s(%d)] Connected to server!");
}

std::uint32_t CPipeClientCallback2::Received(const unsigned char* data, std::int32_t length) {
    const std::string strReply(reinterpret_cast<const char*>(data), length > 0 ? static_cast<std::size_t>(length) : 0);
    if (strReply == "1" && m_hReplyEvent) {
        SetEvent(m_hReplyEvent.get());
    }
    NXL_LOG(L"[%s(%d)]Server says: %s", Utf8ToUtf16(strReply).c_str());
    return 0;
}

void CPipeClientCallback2::Lost() {
    NXL_LOG(L"[%s(%d)]Disconnected from server!");
}
