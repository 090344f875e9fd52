#include "ipc/envelope.h"

#include "foundation/json_text.h"
#include "ipc/message_type.h"

EnvelopeStatus ReadEnvelope(std::string_view text, Envelope& envelope) {
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
    envelope.nType = type->asInt();
    const Json::Value* content = FindJsonMember(root, "content");
    if (envelope.nType == static_cast<int>(MessageType::S_MT_InitWxApp)) {
        envelope.strBody = content != nullptr ? JsonToText(*content) : std::string();
        return EnvelopeStatus::Ok;
    }
    if (content == nullptr || !(content->isNull() || content->type() == Json::objectValue)) {
        return EnvelopeStatus::NoContent;
    }
    envelope.strBody = WriteJson(*content);
    return EnvelopeStatus::Ok;
}

std::string WriteEnvelope(int nType, Json::Value content) {
    Json::Value root(Json::objectValue);
    root["content"].swap(content);
    root["message_type"] = nType;
    return WriteJson(root);
}
