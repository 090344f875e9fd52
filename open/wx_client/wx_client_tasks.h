// The table of opens that were handed to the WeChat client.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "foundation/lock.h"
#include "foundation/thread_annotations.h"

namespace WX_CLIENT {

enum class WeChatPoll {
    Unknown,  // there is no such task: result is "0"
    Waiting,  // it stays: result is "Loading"
    Erased,   // its window is there, or this was the last call: result is "1" or "Loading", and it is gone
};

// A task is there from the moment the shell took its URL until a poll ends it. Every operation may run on any thread.
class CWeChatTasks {
  public:
    // A task that is there already stays one task.
    void Store(const std::string& taskId);

    // windowExists is asked at most once, and only for a task that is there; it must not call back here.
    WeChatPoll Poll(const std::string& taskId, bool bLastCall, const std::function<bool()>& windowExists,
                    std::string& result);

  private:
    CLock m_lock;
    std::set<std::string> m_setTasks NXL_GUARDED_BY(m_lock);
};

}  // namespace WX_CLIENT
