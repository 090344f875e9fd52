#include "ipc/protocol/envelope.h"

#include "foundation/json_text.h"
#include "ipc/protocol/message_type.h"

EnvelopeStatus ReadEnvelope(std::string_view text, Request& request) {
    Json::Value root;
    if (!ParseJson(text, root)) {
        return EnvelopeStatus::ParseError;
    }
    if (root.type() != Json::objectValue) {
        return EnvelopeStatus::NotObject;
    }
    const Json::Value* type = FindJsonMember(root, "message_type");
    if (type == nullptr || !IsJsonInteger(*type)) {
        return EnvelopeStatus::NoMessageType;
    }
    request.nType = type->asInt();
    const Json::Value* content = FindJsonMember(root, "content");
    if (request.nType == static_cast<int>(MessageType::S_MT_InitWxApp)) {
        request.strCommandLine = content != nullptr ? JsonToText(*content) : std::string();
        return EnvelopeStatus::Ok;
    }
    if (content == nullptr || !(content->isNull() || content->type() == Json::objectValue)) {
        return EnvelopeStatus::NoContent;
    }
    root["content"].swap(request.content);
    return EnvelopeStatus::Ok;
}

std::string WriteEnvelope(int nType, Json::Value content) {
    Json::Value root(Json::objectValue);
    root["content"].swap(content);
    root["message_type"] = nType;
    return WriteJson(root);
}
