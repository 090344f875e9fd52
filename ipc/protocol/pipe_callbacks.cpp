#include "ipc/protocol/pipe_callbacks.h"

#include "foundation/log.h"
#include "ipc/protocol/dispatch.h"

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
    const wchar_t* operation = NXL_LOG_NAME;
    Request request;
    if (!ReceiveRequest(operation, data, length, request)) {
        return 0;
    }
    const std::shared_ptr<const IRequestOwner> pClient = m_pClient.lock();
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
    return static_cast<std::uint32_t>(DispatchRequest(operation, request, *pOwner));
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
