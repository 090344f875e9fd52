#include "ipc/message_type.h"

const char* MessageTypeName(int type) {
    switch (static_cast<MessageType>(type)) {
        case MessageType::S_MT_InitWxApp:
            return "S_MT_InitWxApp";
        case MessageType::S_MT_GetWxAppStatus:
            return "S_MT_GetWxAppStatus";
        case MessageType::S_MT_GetWxAppStatusEncrypt:
            return "S_MT_GetWxAppStatusEncrypt";
        case MessageType::S_MT_GetWxAppQIMEI:
            return "S_MT_GetWxAppQIMEI";
        case MessageType::S_MT_GetRSAEncrypt:
            return "S_MT_GetRSAEncrypt";
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
            return "WM_COPY_DATA_MSG_IPC_GET_OPEN";
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            return "S_MT_OpenMiniAppSuccessfully";
        case MessageType::S_MT_DelayCheckWndStatus:
            return "S_MT_DelayCheckWndStatus";
        case MessageType::S_MT_ExitExeProcess:
            return "S_MT_ExitExeProcess";
        case MessageType::S_MT_InitReply:
            return "S_MT_InitReply";
        case MessageType::S_MT_StatusReply:
            return "S_MT_StatusReply";
        case MessageType::S_MT_StatusEncryptReply:
            return "S_MT_StatusEncryptReply";
        case MessageType::S_MT_QIMEIReply:
            return "S_MT_QIMEIReply";
        case MessageType::S_MT_RSAEncryptReply:
            return "S_MT_RSAEncryptReply";
        case MessageType::S_MT_OpenMiniAppReply:
            return "S_MT_OpenMiniAppReply";
    }
    return "unknown";
}

int ReplyTypeOf(int nType) {
    switch (static_cast<MessageType>(nType)) {
        case MessageType::S_MT_GetWxAppStatus:
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            return static_cast<int>(MessageType::S_MT_StatusReply);
        case MessageType::S_MT_GetWxAppStatusEncrypt:
            return static_cast<int>(MessageType::S_MT_StatusEncryptReply);
        case MessageType::S_MT_GetWxAppQIMEI:
            return static_cast<int>(MessageType::S_MT_QIMEIReply);
        case MessageType::S_MT_GetRSAEncrypt:
            return static_cast<int>(MessageType::S_MT_RSAEncryptReply);
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
            return static_cast<int>(MessageType::S_MT_OpenMiniAppReply);
        default:
            return 0;
    }
}
