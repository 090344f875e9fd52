#include "world/helper/scripted_request.h"

#include <utility>

#include "foundation/json_text.h"
#include "ipc/protocol/envelope.h"

ScriptedRequest ReadScriptedRequest(std::string payload) {
    ScriptedRequest request;
    Json::Value root;
    if (ParseJson(payload, root) && root.isObject()) {
        request.nType = IsJsonInteger(root["message_type"]) ? root["message_type"].asInt() : 0;
        request.content = root["content"];
    }
    request.strPayload = std::move(payload);
    return request;
}

std::string ScriptedReply(int nType, const ScriptedRequest& request, const Json::Value& further) {
    Json::Value content = request.content.isObject() ? request.content : Json::Value(Json::objectValue);
    for (const std::string& key : further.getMemberNames()) {
        content[key] = further[key];
    }
    return WriteEnvelope(nType, std::move(content));
}
