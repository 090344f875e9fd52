#include "open/wx_sdk/wx_open_tasks.h"

#include <string_view>
#include <utility>

namespace MINI_API_CLIENT {

void CWxOpenTasks::Clear() {
    CAutoLock lock(&m_lock);
    m_mapOpenTasks.clear();
}

void CWxOpenTasks::Store(std::uint32_t id, WxOpenTask task) {
    CAutoLock lock(&m_lock);
    m_mapOpenTasks.insert_or_assign(id, std::move(task));
}

void CWxOpenTasks::SetLastTaskId(const std::string& taskId) {
    CAutoLock lock(&m_lock);
    m_strLastTaskId = taskId;
}

void CWxOpenTasks::Answer(std::uint32_t id, std::int32_t status) noexcept {
    CAutoLock lock(&m_lock);
    std::string_view appId;
    if (const auto answered = m_mapOpenTasks.find(id); answered != m_mapOpenTasks.end()) {
        appId = answered->second.appId;
    }
    for (auto& [key, task] : m_mapOpenTasks) {
        if (task.appId == appId && task.taskId == m_strLastTaskId) {
            task.result.assign(1, status == 0 ? '1' : '0');
        }
    }
}

WxTaskState CWxOpenTasks::Take(const std::string& taskId, std::string& result) {
    CAutoLock lock(&m_lock);
    for (auto entry = m_mapOpenTasks.begin(); entry != m_mapOpenTasks.end(); ++entry) {
        if (entry->second.taskId != taskId) {
            continue;
        }
        if (entry->second.result.empty()) {
            return WxTaskState::Waiting;
        }
        result = entry->second.result;
        m_mapOpenTasks.erase(entry);
        return WxTaskState::Answered;
    }
    return WxTaskState::Unknown;
}

}  // namespace MINI_API_CLIENT
