#include "service/request_body.h"

#include "foundation/json_text.h"

namespace {

// The object that stands as a text inside a body; null when the text is broken or holds anything else.
Json::Value InnerObject(const std::string& strText) {
    Json::Value value;
    ParseJsonText(strText.data(), strText.size(), value);
    return value.type() == Json::objectValue ? value : Json::Value();
}

}  // namespace

bool ParseRequestBody(const std::string& strBody, Json::Value& root) {
    return ParseJson(strBody, root) && root.type() == Json::objectValue;
}

bool ParseJsonText(const char* data, std::size_t length, Json::Value& value) {
    if (data == nullptr || length == 0) {
        return false;
    }
    if (ParseJson({data, length}, value, JsonComments::Ignored)) {
        return true;
    }
    // A failed parse leaves what it had read so far.
    value = Json::Value();
    return false;
}

bool ReadOpenMiniApp(const Json::Value& root, std::string& strOpenText) {
    const Json::Value* serviceId = FindJsonMember(root, "service_id");
    const Json::Value* p1 = FindJsonMember(root, "p1");
    if (serviceId == nullptr || !serviceId->isString() || p1 == nullptr ||
        !(p1->isNull() || p1->type() == Json::objectValue)) {
        return false;
    }
    strOpenText = WriteJson(*p1);
    return true;
}

bool TakeOpenMiniAppSuccessfully(Json::Value& root, std::string& strText) {
    const Json::Value* p1 = FindJsonMember(root, "p1");
    if (p1 == nullptr || !p1->isString()) {
        return false;
    }
    strText = JsonToText(*p1);
    Json::Value value;
    ParseJsonText(strText.data(), strText.size(), value);
    root["p1"].swap(value);
    return true;
}

void AddOpenResult(Json::Value& root, const std::string& strResult, bool bReturned) {
    root["result"] = strResult;
    root["ret"] = bReturned ? "1" : "0";
}

std::int32_t DelayInterval(const std::string& strRunStatusParam, std::int32_t nCurrent) {
    const Json::Value value = InnerObject(strRunStatusParam);
    const Json::Value* interval = FindJsonMember(value, "interval");
    if (interval == nullptr || !IsJsonInteger(*interval)) {
        return nCurrent;
    }
    const std::int32_t nInterval = JsonToInt(*interval);
    return nInterval != 0 ? nInterval : nCurrent;
}

std::string TextToEncrypt(const Json::Value& p1) {
    const Json::Value value = InnerObject(JsonToText(p1));
    const Json::Value* text = FindJsonMember(value, "text");
    return text != nullptr ? JsonToText(*text) : std::string();
}
