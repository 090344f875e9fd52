// A caller's request as a scripted helper sees it, and the replies made from it. Any thread.
#pragma once

#include <string>

#include <json/value.h>

// content is null when the payload is not an envelope; nType is 0 then.
struct ScriptedRequest {
    int nType = 0;
    Json::Value content;
    std::string strPayload;
};

ScriptedRequest ReadScriptedRequest(std::string payload);

// The envelope of a reply: the request's content, when that is an object, with the keys of further over it.
std::string ScriptedReply(int nType, const ScriptedRequest& request, const Json::Value& further);

// What a helper sends once it is connected.
inline constexpr char kReadyNotice[] = R"({"content":{"p1":"1"},"message_type":12})";
