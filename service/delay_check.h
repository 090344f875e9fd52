// The rules of a delayed check: when to poll an open, and which of the caller's URLs to fetch afterwards.
#pragma once

#include <cstdint>
#include <string>

#include <json/value.h>

// From the start to the first poll, and between two polls.
inline constexpr std::uint32_t kDelayCheckPeriodMs = 2000;

// Counts the polls of one delayed check: one for each period that the interval has begun.
//
//   CDelayCheckSchedule schedule(nInterval);
//   do { sleep one period; poll, with schedule.IsLastCall(); } while (not answered && schedule.Next());
class CDelayCheckSchedule {
  public:
    // nInterval: total time to keep polling, in milliseconds, above 0.
    explicit CDelayCheckSchedule(std::int32_t nInterval)
        : m_nLeft(std::int64_t{nInterval} - std::int64_t{kDelayCheckPeriodMs}) {}

    // No poll follows the present one.
    bool IsLastCall() const { return m_nLeft < 1; }

    // Moves to the next poll; false when there is none.
    bool Next() {
        const bool more = m_nLeft > 0;
        m_nLeft -= std::int64_t{kDelayCheckPeriodMs};
        return more;
    }

  private:
    std::int64_t m_nLeft;  // milliseconds that remain after the present poll
};

// Whether a result word says that the open has succeeded.
inline bool IsOpenSuccess(const std::string& strResult) {
    return strResult == "1";
}

// The URLs to fetch: successLog or errorLog of root, an object. Null when the member is missing or not an array.
const Json::Value* SelectLogUrls(const Json::Value& root, bool bSuccess);
