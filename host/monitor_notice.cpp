#include "host/monitor_notice.h"

#include <limits>

#include <json/value.h>

#include "foundation/json_text.h"
#include "foundation/little_endian.h"
#include "foundation/text_helpers.h"

namespace {

constexpr std::string_view kMagic = "BVRS";
constexpr std::uint16_t kVersion = 1;
constexpr std::string_view kEndMark = "\x7D\x92\x5F\x3E";

constexpr std::uint16_t kTypeNumber = 3;
constexpr std::uint16_t kTypeText = 101;

// Tells the monitor which program the notice comes from.
constexpr std::int32_t kFromThisProgram = 2;

constexpr std::size_t kLargestLength = std::numeric_limits<std::uint16_t>::max();

void AppendWord(std::string& bytes, std::size_t value) {
    AppendLittleEndian(bytes, value, 2);
}

std::string TextOf(const Json::Value& object, const char* key) {
    return JsonToText(JsonMember(object, key));
}

}  // namespace

void MonitorBag::AddText(std::string_view key, std::string_view text) {
    m_vecEntries.push_back({std::string(key), kTypeText, std::string(text)});
}

void MonitorBag::AddNumber(std::string_view key, std::int32_t number) {
    const auto bits = static_cast<std::uint32_t>(number);
    std::string value;
    AppendLittleEndian(value, bits, sizeof bits);
    m_vecEntries.push_back({std::string(key), kTypeNumber, std::move(value)});
}

std::optional<std::string> MonitorBag::Serialize() const {
    std::string bytes(kMagic);
    AppendWord(bytes, kVersion);
    AppendWord(bytes, m_vecEntries.size());
    for (const Entry& entry : m_vecEntries) {
        if (entry.strKey.size() > kLargestLength || entry.strValue.size() > kLargestLength) {
            return std::nullopt;
        }
        AppendWord(bytes, entry.strKey.size());
        bytes += entry.strKey;
        AppendWord(bytes, entry.nType);
        AppendWord(bytes, entry.strValue.size());
        bytes += entry.strValue;
    }
    bytes += kEndMark;
    return bytes;
}

MonitorRequestStatus ReadMonitorRequest(const Json::Value& root, MonitorRequest& request) {
    if (!root.isObject()) {
        return MonitorRequestStatus::BadText;
    }
    if (JsonToInt(JsonMember(root, "isWxPopShow")) != 1) {
        return MonitorRequestStatus::NotShown;
    }
    const Json::Value& data = JsonMember(root, "wxPopData");
    const std::string name = TextOf(data, "name");
    const std::string appId = TextOf(data, "appid");
    request.strReferer = UrlEscapeString(appId + "_" + name);

    MonitorBag& bag = request.bag;
    bag = {};
    bag.AddText("_type_", "appexit");
    bag.AddText("windowname", name);
    bag.AddText("icon", TextOf(data, "icon"));
    bag.AddText("id", appId);
    bag.AddText("imps", TextOf(data, "impressionid"));
    bag.AddText("ext", WriteJson(JsonMember(data, "ext_data")));
    bag.AddText("st", std::to_string(JsonToInt(JsonMember(data, "style_id"))));
    bag.AddNumber("from", kFromThisProgram);
    return MonitorRequestStatus::Ok;
}
