#include "open/wx_client/wx_client_tasks.h"

namespace WX_CLIENT {

void CWeChatTasks::Store(const std::string& taskId) {
    CAutoLock lock(&m_lock);
    m_setTasks.insert(taskId);
}

WeChatPoll CWeChatTasks::Poll(const std::string& taskId, bool bLastCall, const std::function<bool()>& windowExists,
                              std::string& result) {
    CAutoLock lock(&m_lock);
    const auto task = m_setTasks.find(taskId);
    if (task == m_setTasks.end()) {
        result = "0";
        return WeChatPoll::Unknown;
    }
    const bool bExists = windowExists();
    result = bExists ? "1" : "Loading";
    if (!bExists && !bLastCall) {
        return WeChatPoll::Waiting;
    }
    m_setTasks.erase(task);
    return WeChatPoll::Erased;
}

}  // namespace WX_CLIENT
