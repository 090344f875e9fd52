#include "ipc/protocol/request_table.h"

namespace {

using enum MessageType;

constexpr RequestRow kRequests[] = {
    {S_MT_InitWxApp, kNoReply, "S_MT_InitWxApp", L"receive MessageType::S_MT_InitWxApp", RequestP1::NotAsked,
     RequestRefusal::Silent, nullptr},
    {S_MT_GetWxAppStatus, S_MT_StatusReply, "S_MT_GetWxAppStatus", L"receive MessageType::S_MT_GetWxAppStatus",
     RequestP1::NotAsked, RequestRefusal::ParseError, &IRequestHandlers::GetWxAppStatus},
    {S_MT_GetWxAppStatusEncrypt, S_MT_StatusEncryptReply, "S_MT_GetWxAppStatusEncrypt",
     L"receive  MessageType::S_MT_GetWxAppStatusEncrypt", RequestP1::NotAsked, RequestRefusal::ParseError,
     &IRequestHandlers::GetWxAppStatusEncrypt},
    {S_MT_GetWxAppQIMEI, S_MT_QIMEIReply, "S_MT_GetWxAppQIMEI", L"receive MessageType::S_MT_GetWxAppQIMEI",
     RequestP1::NotAsked, RequestRefusal::ParseError, &IRequestHandlers::GetWxAppQIMEI},
    {S_MT_GetRSAEncrypt, S_MT_RSAEncryptReply, "S_MT_GetRSAEncrypt", L"receive MessageType::S_MT_GetRSAEncrypt",
     RequestP1::Any, RequestRefusal::ParseError, &IRequestHandlers::GetRSAEncrypt},
    {WM_COPY_DATA_MSG_IPC_GET_OPEN, S_MT_OpenMiniAppReply, "WM_COPY_DATA_MSG_IPC_GET_OPEN",
     L"receive WM_COPY_DATA_MSG_IPC_GET_OPEN", RequestP1::ObjectOrNull, RequestRefusal::Silent,
     &IRequestHandlers::OpenMiniApp},
    {S_MT_OpenMiniAppSuccessfully, S_MT_StatusReply, "S_MT_OpenMiniAppSuccessfully",
     L"receive MessageType::S_MT_OpenMiniAppSuccessfully", RequestP1::Text, RequestRefusal::NotContainP1,
     &IRequestHandlers::OpenMiniAppSuccessfully},
    {S_MT_DelayCheckWndStatus, kNoReply, "S_MT_DelayCheckWndStatus", L"receive MessageType::S_MT_DelayCheckWndStatus",
     RequestP1::Any, RequestRefusal::NotContainP1, &IRequestHandlers::DelayCheckWndStatus},
    {S_MT_ExitExeProcess, kNoReply, "S_MT_ExitExeProcess", L"receive MessageType::S_MT_ExitExeProcess",
     RequestP1::NotAsked, RequestRefusal::ParseError, &IRequestHandlers::DestroyWxServiceItme},
};

constexpr struct {
    MessageType nType;
    const char* szName;
} kReplies[] = {
    {S_MT_InitReply, "S_MT_InitReply"},
    {S_MT_StatusReply, "S_MT_StatusReply"},
    {S_MT_StatusEncryptReply, "S_MT_StatusEncryptReply"},
    {S_MT_QIMEIReply, "S_MT_QIMEIReply"},
    {S_MT_RSAEncryptReply, "S_MT_RSAEncryptReply"},
    {S_MT_OpenMiniAppReply, "S_MT_OpenMiniAppReply"},
};

bool HoldsP1(RequestP1 p1, const Json::Value& content) {
    if (p1 == RequestP1::NotAsked) {
        return true;
    }
    const Json::Value* value = FindJsonMember(content, "p1");
    if (value == nullptr) {
        return false;
    }
    switch (p1) {
        case RequestP1::Text:
            return value->isString();
        case RequestP1::ObjectOrNull: {
            const Json::Value* serviceId = FindJsonMember(content, "service_id");
            return serviceId != nullptr && serviceId->isString() &&
                   (value->isNull() || value->type() == Json::objectValue);
        }
        default:
            return true;
    }
}

}  // namespace

std::span<const RequestRow> RequestTable() {
    return kRequests;
}

const RequestRow* FindRequest(int nType) {
    for (const RequestRow& row : kRequests) {
        if (static_cast<int>(row.nType) == nType) {
            return &row;
        }
    }
    return nullptr;
}

ContentStatus CheckContent(const RequestRow& row, const Json::Value& content) {
    if (content.type() != Json::objectValue) {
        return ContentStatus::ParseError;
    }
    if (HoldsP1(row.p1, content)) {
        return ContentStatus::Ok;
    }
    switch (row.refusal) {
        case RequestRefusal::ParseError:
            return ContentStatus::ParseError;
        case RequestRefusal::NotContainP1:
            return ContentStatus::NotContainP1;
        default:
            return ContentStatus::Silent;
    }
}

const char* MessageTypeName(int nType) {
    if (const RequestRow* row = FindRequest(nType)) {
        return row->szName;
    }
    for (const auto& reply : kReplies) {
        if (static_cast<int>(reply.nType) == nType) {
            return reply.szName;
        }
    }
    return "unknown";
}

int ReplyTypeOf(int nType) {
    const RequestRow* row = FindRequest(nType);
    return row != nullptr ? static_cast<int>(row->nReplyType) : 0;
}
