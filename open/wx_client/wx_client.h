// Opening a page through the installed WeChat client by its URL scheme.
//
// The shell answers long before the client's window is there, so an open may show a loading window until then, and a
// desktop shortcut to the same URL may be made; a poll later looks for the window by its title. Any thread.
#pragma once

#include <string>

#include "open/record/app_open_info.h"

namespace WX_CLIENT {

// Opens info.urlScheme, whose taskId and wndname are not empty. result: "uninstalled" without the client, "0" when the
// shell finds no program for the URL, else "1". Threads that it starts have copies of info, and are not waited for.
void OpenWithWeChat(const AppOpenInfo& info, std::string& result);

// Asks for the state of the open of taskId. result: "1" when a window with the title wndname is there, "Loading" while
// it is not, "0" for an unknown task, an error word for an empty argument. True when the task has ended: it is
// forgotten with its window, and with the last call.
bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result, bool bLastCall);

// The work of the two threads. They return 0 when they came to their end, 0xFFFFFFFF without info, and the second also
// when it broke off.

// Shows the loading window, when info asks for it, until it has gone.
unsigned PopWxLoadingWnd(const AppOpenInfo* info);
// Makes the desktop shortcut and sends the beacons that tell how that ended.
unsigned CreateAppShortcut(const AppOpenInfo* info);

}  // namespace WX_CLIENT
