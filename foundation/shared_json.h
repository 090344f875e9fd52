// A JSON text and what it says, read once and shared by all copies.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include <json/value.h>

#include "foundation/json_text.h"
#include "foundation/shared_text.h"

// Does not change once it is made. Copies cost the same whatever the length and may be used on several threads at once.
class CSharedJson {
  public:
    CSharedJson(CSharedText text) : m_text(std::move(text)) {
        auto value = std::make_shared<Json::Value>();
        if (!m_text.empty()) {
            ParseJson(m_text.Text(), *value);
        }
        m_pValue = std::move(value);
    }
    CSharedJson(std::string text) : CSharedJson(CSharedText(std::move(text))) {}
    CSharedJson(const char* text) : CSharedJson(std::string(text)) {}

    const CSharedText& Text() const { return m_text; }
    // Null when the text is empty or not JSON. Lives as long as this object and its copies.
    const Json::Value& Value() const { return *m_pValue; }

  private:
    CSharedText m_text;
    std::shared_ptr<const Json::Value> m_pValue;
};
