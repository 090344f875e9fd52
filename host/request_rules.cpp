#include "host/request_rules.h"

#include <json/value.h>

#include "foundation/json_text.h"

RequestRules RulesOfRequest(MessageType type) {
    RequestRules rules;
    switch (type) {
        case MessageType::S_MT_GetWxAppStatus:
        case MessageType::S_MT_GetWxAppStatusEncrypt:
            rules.bReArmsExitTimer = true;
            rules.bStartsStatusTimer = true;
            break;
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            rules.bReArmsExitTimer = true;
            break;
        case MessageType::S_MT_DelayCheckWndStatus:
            rules.bNeedsP1 = true;
            break;
        default:
            break;
    }
    return rules;
}

bool IsDispatchedAtStart(int type) {
    return type >= static_cast<int>(MessageType::S_MT_GetWxAppStatus) &&
           type <= static_cast<int>(MessageType::S_MT_DelayCheckWndStatus);
}

RequestStatus ReadRequestServiceId(const std::string& body, bool bNeedsP1, std::string& serviceId) {
    Json::Value root;
    if (!ParseJson(body, root) || !root.isObject()) {
        return RequestStatus::ParseError;
    }
    if (bNeedsP1 && FindJsonMember(root, "p1") == nullptr) {
        return RequestStatus::NoP1;
    }
    const Json::Value* member = FindJsonMember(root, "service_id");
    if (member == nullptr || !member->isString()) {
        return RequestStatus::NoServiceId;
    }
    serviceId = member->asString();
    return RequestStatus::Ok;
}
