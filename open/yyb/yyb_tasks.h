// The table of applet opens that were started through the YYB SDK, what the SDK's state reports do to it, and how a
// poll ends one.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "foundation/lock.h"
#include "foundation/thread_annotations.h"

namespace YYB_API_CLIENT {

// One started open. result is empty while it waits, then "1" or "LaunchError".
struct YybOpenTask {
    std::string appId;  // compared with the pkgname of reports
    std::string yybParam;
    std::string result;
};

enum class YybPoll {
    Unknown,   // there is no such task: result is "0"
    Waiting,   // it stays: result is "Loading"
    Answered,  // a report had settled it: result is its word, and it is gone
    Erased,    // its window is there, or this was the last call: result is "1" or "Loading", and it is gone
};

// Every operation may run on any thread. The lock in here is a leaf and held for no more than the operation itself.
class CYybTasks {
  public:
    void Clear();

    // Stores a waiting task, in place of one with this taskId.
    void Store(const std::string& taskId, YybOpenTask task);

    // Gives the first task in the order of task ids whose appId is pkgname this word; a word that it has is replaced.
    // Others with the same appId continue to wait: callers rely on one report settling one open. Held by
    // OneReportSettlesTheFirstOfTwoTasks. False when there is none.
    bool Settle(const std::string& pkgname, const std::string& word);

    // windowExists is asked at most once, and only for a task that waits and is watched by its window; it must not call
    // back here. A last call erases a watched task and no other: an open that is not watched waits for the SDK,
    // whatever the poller says. Held by ALastCallKeepsATaskThatIsNotWatched.
    YybPoll Poll(const std::string& taskId, bool bWatchWindow, bool bLastCall,
                 const std::function<bool()>& windowExists, std::string& result);

  private:
    CLock m_lock;
    std::map<std::string, YybOpenTask> m_mapYybTasks NXL_GUARDED_BY(m_lock);
};

// What the launch words of a state report do.
class IYybSettler {
  public:
    // pkgname is not empty; word is the result of its task from now on.
    virtual void Settle(const std::string& pkgname, const char* word) = 0;

  protected:
    ~IYybSettler() = default;
};

// Reads a state report of the SDK: a JSON text, UTF-8; null counts as empty. Most words are logged and no more; code is
// ignored. A status or pkgname that cannot be converted throws Json::LogicError, which nothing catches.
void OnDownloadStatus(IYybSettler& settler, const char* text, std::int32_t code);

}  // namespace YYB_API_CLIENT
