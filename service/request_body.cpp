#include "service/request_body.h"

#include "foundation/json_text.h"

bool ParseJsonText(const char* data, std::size_t length, Json::Value& value) {
    if (data == nullptr || length == 0) {
        return false;
    }
    return ParseJson({data, length}, value);
}

const Json::Value& TakeOpenMiniAppSuccessfully(Json::Value& content) {
    Json::Value& p1 = content["p1"];
    const std::string strText = JsonToText(p1);
    Json::Value value;
    ParseJsonText(strText.data(), strText.size(), value);
    p1.swap(value);
    return p1;
}

void AddOpenResult(Json::Value& content, const std::string& strResult, bool bReturned) {
    content["result"] = strResult;
    content["ret"] = bReturned ? "1" : "0";
}

std::optional<std::int32_t> DelayInterval(const Json::Value& question) {
    if (question.type() != Json::objectValue) {
        return std::nullopt;
    }
    const Json::Value* interval = FindJsonMember(question, "interval");
    if (interval == nullptr || !IsJsonInteger(*interval)) {
        return std::nullopt;
    }
    const std::int32_t nInterval = JsonToInt(*interval);
    return nInterval != 0 ? std::optional(nInterval) : std::nullopt;
}

std::string TextToEncrypt(const Json::Value& p1) {
    const std::string strText = JsonToText(p1);
    Json::Value value;
    ParseJsonText(strText.data(), strText.size(), value);
    const Json::Value* text = value.type() == Json::objectValue ? FindJsonMember(value, "text") : nullptr;
    return text != nullptr ? JsonToText(*text) : std::string();
}
