// The device identity pair: what is kept of it in memory, and how the SDK's answer is read.
#pragma once

#include <string>
#include <string_view>

#include "foundation/lock.h"
#include "foundation/thread_annotations.h"

namespace YYB_API_CLIENT {

struct QimeiPair {
    std::string qimei32;
    std::string qimei36;

    bool operator==(const QimeiPair&) const = default;
    // Both texts are there.
    bool IsWhole() const { return !qimei32.empty() && !qimei36.empty(); }
};

// The SDK's answer, a JSON text: false when it is not a JSON object. A key that is missing gives an empty text; one
// that cannot be converted throws Json::LogicError, which nothing catches.
bool ParseQimeiAnswer(std::string_view text, QimeiPair& pair);

// The pair needs no renewal.
bool HasQimeiMarker(const std::string& qimei32);

// The pair as this process last knew it. Any thread; of two writers the last one wins.
class CQimeiCache {
  public:
    // False, and pair as it was, while nothing whole is kept.
    bool Read(QimeiPair& pair);
    void Write(const QimeiPair& pair);
    void Clear() { Write({}); }

  private:
    CLock m_lock;
    QimeiPair m_pair NXL_GUARDED_BY(m_lock);
};

}  // namespace YYB_API_CLIENT
