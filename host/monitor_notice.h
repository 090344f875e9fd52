// The notice that asks the monitor program to show a pop-up: its content and its bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

// A sequence of keys with typed values, in the order they were added.
class MonitorBag {
  public:
    void AddText(std::string_view key, std::string_view text);
    void AddNumber(std::string_view key, std::int32_t number);

    // The bytes of the notice, or nothing when a key or value is longer than its 16-bit length field can say.
    std::optional<std::string> Serialize() const;

  private:
    struct Entry {
        std::string strKey;
        std::uint16_t nType;
        std::string strValue;
    };
    std::vector<Entry> m_vecEntries;
};

enum class MonitorRequestStatus {
    Ok,
    BadText,   // not an object
    NotShown,  // isWxPopShow is not 1
};

struct MonitorRequest {
    MonitorBag bag;
    std::string strReferer;  // the app's id and name, escaped, for the beacon
};

// Reads the question of a delayed check into request. A member of a type that does not convert throws Json::LogicError,
// which nothing catches.
MonitorRequestStatus ReadMonitorRequest(const Json::Value& question, MonitorRequest& request);
