// The conversions that end the process by decision, told from everything else that may be thrown: a fuzzer says which
// members it means, and a throw for any other reason is a find.
#pragma once

#include <initializer_list>
#include <limits>
#include <string_view>

#include <json/value.h>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"

inline bool ConvertsToText(const Json::Value& value) {
    return value.isNull() || value.isBool() || value.isString();
}

inline bool ConvertsToInt(const Json::Value& value) {
    if (value.isDouble() && !value.isIntegral()) {
        return value.asDouble() >= std::numeric_limits<Json::Int>::min() &&
               value.asDouble() <= std::numeric_limits<Json::Int>::max();
    }
    return value.isNull() || value.isBool() || value.isInt();
}

inline bool ConvertsToUInt(const Json::Value& value) {
    if (value.isDouble() && !value.isIntegral()) {
        return value.asDouble() >= 0 && value.asDouble() <= std::numeric_limits<Json::UInt>::max();
    }
    return value.isNull() || value.isBool() || value.isUInt();
}

// Each of these members of an object converts to a text.
inline bool AllConvertToText(const Json::Value& object, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        if (!ConvertsToText(JsonMember(object, key))) {
            return false;
        }
    }
    return true;
}

// The value of a text, or null.
inline Json::Value ValueOf(std::string_view text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

// The object that text holds, or null.
inline Json::Value ObjectIn(std::string_view text) {
    Json::Value root;
    return ParseJson(text, root) && root.isObject() ? root : Json::Value();
}

// Does the work, which must throw Json::LogicError exactly when bSettled says so. True when it did not. Whatever else
// is thrown ends the run.
template <typename Work>
bool DoneOrSettled(bool bSettled, Work work) {
    bool bThrown = false;
    try {
        work();
    } catch (const Json::LogicError&) {
        bThrown = true;
    }
    FUZZ_CHECK(bThrown == bSettled);
    return !bThrown;
}
