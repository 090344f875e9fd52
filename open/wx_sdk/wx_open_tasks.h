// The table of mini-program opens that were started, and what the SDK answered.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "foundation/lock.h"
#include "foundation/thread_annotations.h"

namespace MINI_API_CLIENT {

// One started open. result is empty until an answer comes, then "1" or "0".
struct WxOpenTask {
    std::string taskId;
    std::string appId;
    std::string appPath;
    std::string result;
};

enum class WxTaskState { Unknown, Waiting, Answered };

// Every operation may run on any thread, also inside a call of the SDK: the lock in here is held for no more than the
// operation itself.
class CWxOpenTasks {
  public:
    void Clear();
    // Stores a task under the SDK's id, in place of one with this id.
    void Store(std::uint32_t id, WxOpenTask task);
    void SetLastTaskId(const std::string& taskId);

    // The SDK's answer for id. Only entries of the same appId whose taskId is the last task id take it, so a late
    // answer to any but the latest task changes nothing: callers rely on it. Held by
    // AnOlderTaskStaysLoadingForEver. Allocates nothing: the SDK calls this.
    void Answer(std::uint32_t id, std::int32_t status) noexcept;

    // The first task with this taskId in the order of ids. An answered one is taken out and its word copied to result;
    // otherwise result stays as it is.
    WxTaskState Take(const std::string& taskId, std::string& result);

  private:
    CLock m_lock;
    std::map<std::uint32_t, WxOpenTask> m_mapOpenTasks NXL_GUARDED_BY(m_lock);
    std::string m_strLastTaskId NXL_GUARDED_BY(m_lock);
};

}  // namespace MINI_API_CLIENT
