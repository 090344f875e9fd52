#include "service/delay_check.h"

#include "foundation/json_text.h"

const Json::Value* SelectLogUrls(const Json::Value& root, bool bSuccess) {
    const Json::Value* urls = FindJsonMember(root, bSuccess ? "successLog" : "errorLog");
    return urls != nullptr && urls->type() == Json::arrayValue ? urls : nullptr;
}
