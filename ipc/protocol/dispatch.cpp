#include "ipc/protocol/dispatch.h"

#include <string>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/request_table.h"

bool ReceiveRequest(const wchar_t* operation, const unsigned char* data, int length, Request& request) {
    NXL_LOG_AS(operation, L"[%s(%d)] ReceiveIPCMessage begin");
    if (length <= 0) {
        NXL_LOG_AS(operation, L"[%s(%d)] nlength is 0");
        return false;
    }
    const char* text = reinterpret_cast<const char*>(data);  // up to its first NUL, whatever length says
    NXL_LOG_AS(operation, L"[%s(%d)] ReceiveIPCMessage szMessage=%s", Utf8ToUtf16(text).c_str());
    switch (ReadEnvelope(text, request)) {
        case EnvelopeStatus::ParseError:
            NXL_LOG_AS(operation, L"[%s(%d)] parse error");
            return false;
        case EnvelopeStatus::NotObject:
            NXL_LOG_AS(operation, L"[%s(%d)] jvRoot is error");
            return false;
        case EnvelopeStatus::NoMessageType:
            NXL_LOG_AS(operation, L"[%s(%d)] jvRoot not message_type");
            return false;
        case EnvelopeStatus::NoContent:
            NXL_LOG_AS(operation, L"[%s(%d)] jvRoot not content");
            return false;
        case EnvelopeStatus::Ok:
            break;
    }
    return true;
}

int DispatchRequest(const wchar_t* operation, Request& request, IRequestHandlers& handlers) {
    const RequestRow* row = FindRequest(request.nType);
    if (row == nullptr || row->pHandler == nullptr) {
        NXL_LOG_AS(operation, L"[%s(%d)] receive extension msg");
        return 0;
    }
    NXL_LOG_AS(operation, L"[%s(%d)] %s", row->szArrival);
    (handlers.*(row->pHandler))(request);
    return 1;
}
