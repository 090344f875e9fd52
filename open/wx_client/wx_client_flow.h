// What an open through the installed WeChat client does, in which order, and how a poll of it is answered. What Windows
// must do is in IWeChatEdge.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "open/record/app_open_info.h"
#include "open/wx_client/wx_client_tasks.h"

namespace WX_CLIENT {

class IWeChatEdge {
  public:
    virtual bool IsWeChatInstalled() = 0;
    // The two start a thread of its own with a copy of info, and do not wait for it.
    virtual void StartLoadingWnd(const AppOpenInfo& info) = 0;
    virtual void StartAppShortcut(const AppOpenInfo& info) = 0;
    // The switch that the daily configuration sets for this user: shortcuts are made when it is 1.
    virtual std::uint32_t AppShortcutSwitch() = 0;
    // Hands a URL to the program of its scheme; false when the shell finds none.
    virtual bool OpenUrl(const std::wstring& urlScheme) = 0;
    virtual bool WindowExists(const std::wstring& title) = 0;

  protected:
    ~IWeChatEdge() = default;
};

// A copy of info for a thread to own; null when there is no memory for it. The thread is started all the same.
std::unique_ptr<AppOpenInfo> CopyForThread(const AppOpenInfo& info) noexcept;

// Opens info.urlScheme, whose taskId and wndname are not empty. result: "uninstalled" without the client, "0" when the
// shell refuses, "1" when the task is stored.
void OpenWithWeChat(const AppOpenInfo& info, IWeChatEdge& edge, CWeChatTasks& tasks, std::string& result);

// Looks for the window of taskId's open by its title. result: "1" when it is there, "Loading" while it is
// not, "0" for an unknown task, an error word for an empty argument. True when the task has ended: it is forgotten with
// its window, and with the last call.
bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, IWeChatEdge& edge, CWeChatTasks& tasks,
                         std::string& result, bool bLastCall);

}  // namespace WX_CLIENT
