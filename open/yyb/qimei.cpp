#include "open/yyb/qimei.h"

#include "foundation/json_text.h"

namespace YYB_API_CLIENT {

bool ParseQimeiAnswer(std::string_view text, QimeiPair& pair) {
    Json::Value root;
    if (!ParseJson(text, root) || !root.isObject()) {
        return false;
    }
    pair = {JsonToText(JsonMember(root, "qimei32")), JsonToText(JsonMember(root, "qimei36"))};
    return true;
}

bool HasQimeiMarker(const std::string& qimei32) {
    return qimei32.find("qone_") != std::string::npos;
}

bool CQimeiCache::Read(QimeiPair& pair) {
    CAutoLock lock(&m_lock);
    if (!m_pair.IsWhole()) {
        return false;
    }
    pair = m_pair;
    return true;
}

void CQimeiCache::Write(const QimeiPair& pair) {
    CAutoLock lock(&m_lock);
    m_pair = pair;
}

}  // namespace YYB_API_CLIENT
