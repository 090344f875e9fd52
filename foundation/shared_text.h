// A text that all its copies share.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

// Does not change once it is made. Copying it costs the same however long it is, so that a caller's text may be
// copied while a lock is held. Copies may be used on several threads at once.
class CSharedText {
  public:
    CSharedText() = default;
    CSharedText(std::string text)
        : m_pText(text.empty() ? nullptr : std::make_shared<const std::string>(std::move(text))) {}
    CSharedText(const char* text) : CSharedText(std::string(text)) {}

    bool empty() const { return m_pText == nullptr; }
    // Lives as long as this object and its copies.
    const std::string& Text() const {
        static const std::string nothing;
        return m_pText != nullptr ? *m_pText : nothing;
    }
    // The two are copies of one text.
    bool SharesWith(const CSharedText& other) const { return m_pText == other.m_pText; }

    friend bool operator==(const CSharedText& one, std::string_view other) { return one.Text() == other; }

  private:
    std::shared_ptr<const std::string> m_pText;  // null when the text is empty
};
