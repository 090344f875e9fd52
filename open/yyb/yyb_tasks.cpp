#include "open/yyb/yyb_tasks.h"

#include <utility>

#include "foundation/json_text.h"
#include "foundation/log.h"

namespace YYB_API_CLIENT {

void CYybTasks::Clear() {
    CAutoLock lock(&m_lock);
    m_mapYybTasks.clear();
}

void CYybTasks::Store(const std::string& taskId, YybOpenTask task) {
    CAutoLock lock(&m_lock);
    m_mapYybTasks.insert_or_assign(taskId, std::move(task));
}

bool CYybTasks::Settle(const std::string& pkgname, const std::string& word) {
    CAutoLock lock(&m_lock);
    for (auto& [taskId, task] : m_mapYybTasks) {
        if (task.appId == pkgname) {
            task.result = word;
            return true;
        }
    }
    return false;
}

YybPoll CYybTasks::Poll(const std::string& taskId, bool bWatchWindow, bool bLastCall,
                        const std::function<bool()>& windowExists, std::string& result) {
    CAutoLock lock(&m_lock);
    const auto entry = m_mapYybTasks.find(taskId);
    if (entry == m_mapYybTasks.end()) {
        result = "0";
        return YybPoll::Unknown;
    }
    if (!entry->second.result.empty()) {
        result = entry->second.result;
        m_mapYybTasks.erase(entry);
        return YybPoll::Answered;
    }
    result = "Loading";
    if (!bWatchWindow) {
        return YybPoll::Waiting;
    }
    if (windowExists()) {
        result = "1";
    } else if (!bLastCall) {
        return YybPoll::Waiting;
    }
    m_mapYybTasks.erase(entry);
    return YybPoll::Erased;
}

void OnDownloadStatus(IYybSettler& settler, const char* text, std::int32_t /*code*/) {
    NXL_LOG(L"----OnDownloadStatus---- ");
    Json::Value jvRoot;
    if (!ParseJson(text == nullptr ? "" : text, jvRoot)) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    if (!jvRoot.isObject()) {
        NXL_LOG(L"[%s(%d)] jvRoot error");
        return;
    }
    const std::string strStatus = JsonToText(JsonMember(jvRoot, "status"));
    if (strStatus.empty()) {
        NXL_LOG(L"[%s(%d)] strStatus is empty");
        return;
    }
    const char* word = nullptr;
    if (strStatus == "INIT") {
        NXL_LOG(L"----OnDownloadStatus----  INIT");
    } else if (strStatus == "active") {
        NXL_LOG(L"----OnDownloadStatus----  active");
    } else if (strStatus == "error") {
        NXL_LOG(L"----OnDownloadStatus----  errors");
    } else if (strStatus == "complete") {
        NXL_LOG(L"----OnDownloadStatus----  complete");
    } else if (strStatus == "Installed") {
        NXL_LOG(L"----OnDownloadStatus----  Installed");
    } else if (strStatus == "InstallError") {
        NXL_LOG(L"----OnDownloadStatus----  InstallError");
    } else if (strStatus == "CompleteLaunch") {
        NXL_LOG(L"----OnDownloadStatus----  CompleteLaunch");
        word = "1";
    } else if (strStatus == "LaunchError") {
        NXL_LOG(L"----OnDownloadStatus----  LaunchError");
        word = "LaunchError";
    }
    if (word == nullptr) {
        return;
    }
    const std::string pkgname = JsonToText(JsonMember(jvRoot, "pkgname"));
    if (!pkgname.empty()) {
        settler.Settle(pkgname, word);
    }
}

}  // namespace YYB_API_CLIENT
