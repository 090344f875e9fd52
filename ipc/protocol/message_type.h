// The numbers that travel as message_type. What belongs to each of them is in ipc/protocol/request_table.h.
#pragma once

// 1 to 9 are requests, 12 to 17 replies; 10 and 11 are not in use.
enum class MessageType : int {
    S_MT_InitWxApp = 1,
    S_MT_GetWxAppStatus = 2,
    S_MT_GetWxAppStatusEncrypt = 3,
    S_MT_GetWxAppQIMEI = 4,
    S_MT_GetRSAEncrypt = 5,
    WM_COPY_DATA_MSG_IPC_GET_OPEN = 6,
    S_MT_OpenMiniAppSuccessfully = 7,
    S_MT_DelayCheckWndStatus = 8,
    S_MT_ExitExeProcess = 9,
    S_MT_InitReply = 12,
    S_MT_StatusReply = 13,
    S_MT_StatusEncryptReply = 14,
    S_MT_QIMEIReply = 15,
    S_MT_RSAEncryptReply = 16,
    S_MT_OpenMiniAppReply = 17,
};
