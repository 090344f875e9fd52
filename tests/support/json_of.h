// Values and requests from JSON texts.
#pragma once

#include <string_view>

#include "foundation/json_text.h"
#include "ipc/protocol/request.h"

// The value of a JSON text; null for a broken one.
inline Json::Value JsonOf(std::string_view text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

// A request for the length of one call of its handler.
class CRequestOf {
  public:
    CRequestOf(int nType, std::string_view content) {
        m_request.nType = nType;
        m_request.content = JsonOf(content);
    }
    operator Request&() { return m_request; }

  private:
    Request m_request;
};
