#include "open/wx_client/wx_client_flow.h"

#include <new>

#include "foundation/log.h"
#include "foundation/text_helpers.h"

namespace WX_CLIENT {

std::unique_ptr<AppOpenInfo> CopyForThread(const AppOpenInfo& info) noexcept {
    try {
        return std::make_unique<AppOpenInfo>(info);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void OpenWithWeChat(const AppOpenInfo& info, IWeChatEdge& edge, CWeChatTasks& tasks, std::string& result) {
    result = "0";
    if (!edge.IsWeChatInstalled()) {
        result = "uninstalled";
        return;
    }
    // Both are under way before the shell is asked: a refusal leaves a window and a shortcut. Callers have the
    // window on the screen without waiting for the shell. Held by ARefusingShellLeavesTheWindowAndTheShortcut.
    if (info.show) {
        edge.StartLoadingWnd(info);
    }
    // The caller's wish and the daily configuration must agree.
    const bool bMayCreate = edge.AppShortcutSwitch() == 1;
    if (info.create && bMayCreate) {
        edge.StartAppShortcut(info);
    }
    if (!edge.OpenUrl(Utf8ToUtf16(info.urlScheme))) {
        return;
    }
    tasks.Store(info.taskId);
    result = "1";
}

bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, IWeChatEdge& edge, CWeChatTasks& tasks,
                         std::string& result, bool bLastCall) {
    result = "0";
    if (wndname.empty() || taskId.empty()) {
        result = "OpenProtocolTimeOut type weChat lack param";
        return false;
    }
    const auto windowExists = [&] { return edge.WindowExists(Utf8ToUtf16(wndname)); };
    if (tasks.Poll(taskId, bLastCall, windowExists, result) != WeChatPoll::Erased) {
        return false;
    }
    NXL_LOG(L"[%s(%d)] erase %s", Utf8ToUtf16(taskId).c_str());
    return true;
}

}  // namespace WX_CLIENT
