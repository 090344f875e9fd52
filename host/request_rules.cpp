#include "host/request_rules.h"

#include <stdexcept>

#include <json/value.h>

#include "foundation/json_text.h"
#include "host/command_line.h"

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

bool CarriesRequest(const std::wstring& commandLine) {
    const auto type = ReadSwitch(commandLine, kSwitchType, kShortSwitchSize);
    if (!type) {
        return false;
    }
    try {
        return IsDispatchedAtStart(TypeFromSwitch(*type));
    } catch (const std::logic_error&) {
        return false;
    }
}

ContentStatus ReadRequestServiceId(const Json::Value& content, bool bNeedsP1, std::string& serviceId) {
    if (!content.isObject()) {
        return ContentStatus::ParseError;
    }
    if (bNeedsP1 && FindJsonMember(content, "p1") == nullptr) {
        return ContentStatus::NotContainP1;
    }
    const Json::Value* member = FindJsonMember(content, "service_id");
    if (member == nullptr || !member->isString()) {
        return ContentStatus::Silent;
    }
    serviceId = member->asString();
    return ContentStatus::Ok;
}
