#include "ipc/pipe_callbacks.h"

#include <string>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "ipc/envelope.h"
#include "ipc/message_type.h"

namespace {

// What a caller may ask of an instance.
struct RequestRow {
    MessageType nType;
    const wchar_t* szArrival;  // logged when it arrives
    void (IRequestHandlers::*pHandler)(const std::string& strBody);
};

constexpr RequestRow kRequests[] = {
    {MessageType::S_MT_GetWxAppStatus, L"receive MessageType::S_MT_GetWxAppStatus", &IRequestHandlers::GetWxAppStatus},
    {MessageType::S_MT_GetWxAppStatusEncrypt, L"receive  MessageType::S_MT_GetWxAppStatusEncrypt",
     &IRequestHandlers::GetWxAppStatusEncrypt},
    {MessageType::S_MT_GetWxAppQIMEI, L"receive MessageType::S_MT_GetWxAppQIMEI", &IRequestHandlers::GetWxAppQIMEI},
    {MessageType::S_MT_GetRSAEncrypt, L"receive MessageType::S_MT_GetRSAEncrypt", &IRequestHandlers::GetRSAEncrypt},
    {MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, L"receive WM_COPY_DATA_MSG_IPC_GET_OPEN",
     &IRequestHandlers::OpenMiniApp},
    {MessageType::S_MT_OpenMiniAppSuccessfully, L"receive MessageType::S_MT_OpenMiniAppSuccessfully",
     &IRequestHandlers::OpenMiniAppSuccessfully},
    {MessageType::S_MT_DelayCheckWndStatus, L"receive MessageType::S_MT_DelayCheckWndStatus",
     &IRequestHandlers::DelayCheckWndStatus},
    {MessageType::S_MT_ExitExeProcess, L"receive MessageType::S_MT_ExitExeProcess",
     &IRequestHandlers::DestroyWxServiceItme},
};

const RequestRow* FindRequest(int nType) {
    for (const RequestRow& row : kRequests) {
        if (static_cast<int>(row.nType) == nType) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

void CPipeClientCallback::Connected() {
    NXL_LOG(L"[%s(%d)] Connected to server!");
}

std::uint32_t CPipeClientCallback::Received(const unsigned char* data, std::int32_t length) {
    return ReceiveIPCMessage(data, length);
}

void CPipeClientCallback::Lost() {
    NXL_LOG(L"[%s(%d)]Disconnected from server!");
}

std::uint32_t CPipeClientCallback::ReceiveIPCMessage(const unsigned char* data, std::int32_t length) {
    NXL_LOG(L"[%s(%d)] ReceiveIPCMessage begin");
    if (length <= 0) {
        NXL_LOG(L"[%s(%d)] nlength is 0");
        return 0;
    }
    const std::string strMessage(reinterpret_cast<const char*>(data));  // up to its first NUL, whatever length says
    NXL_LOG(L"[%s(%d)] ReceiveIPCMessage szMessage=%s", Utf8ToUtf16(strMessage).c_str());
    Envelope envelope;
    switch (ReadEnvelope(strMessage, envelope)) {
        case EnvelopeStatus::Ok:
            break;
        case EnvelopeStatus::ParseError:
            NXL_LOG(L"[%s(%d)] parse error");
            return 0;
        case EnvelopeStatus::NotObject:
            NXL_LOG(L"[%s(%d)] jvRoot is error");
            return 0;
        case EnvelopeStatus::NoMessageType:
            NXL_LOG(L"[%s(%d)] jvRoot not message_type");
            return 0;
        case EnvelopeStatus::NoContent:
            NXL_LOG(L"[%s(%d)] jvRoot not content");
            return 0;
    }
    const std::shared_ptr<CIOCP_Client> pClient = m_pClient.lock();
    if (!pClient) {
        NXL_LOG(L"[%s(%d)] m_pClient is null");
        return 0;
    }
    // Kept for this one request: the owner may be dropped while its handler runs.
    const std::shared_ptr<IRequestHandlers> pOwner = pClient->Owner();
    if (!pOwner) {
        NXL_LOG(L"[%s(%d)] WxMiniProgramServiceEx is null");
        return 0;
    }
    const RequestRow* pRow = FindRequest(envelope.nType);
    if (pRow == nullptr) {
        NXL_LOG(L"[%s(%d)] receive extension msg");
        return 0;
    }
    NXL_LOG(L"[%s(%d)] %s", pRow->szArrival);
    ((*pOwner).*(pRow->pHandler))(envelope.strBody);
    return 1;
}

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

void CPipeServerCallback::Connected() {
    NXL_LOG(L"[%s(%d)]Client connected");
}

std::uint32_t CPipeServerCallback::Received(const unsigned char* data, std::int32_t length) {
    return static_cast<std::uint32_t>(m_pReceiver->ReceiveIPCMessage(data, length));
}

void CPipeServerCallback::Lost() {
    NXL_LOG(L"[%s(%d)] Client disconnected!");
}
