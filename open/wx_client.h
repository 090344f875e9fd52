// Opening a page through the installed WeChat client by its URL scheme.
#pragma once

#include <string>

#include "open/app_open_info.h"

namespace WX_CLIENT {

// Opens info.urlScheme. Not built yet: result becomes empty, which means that there is no answer.
void OpenWithWeChat(const AppOpenInfo& info, std::string& result);

// Asks how the open of taskId stands. No open can have been started yet, so every task is unknown: "0", or the error
// word when an argument is empty. False: nothing has ended.
bool OpenProtocolTimeOut(const std::string& wndname, const std::string& taskId, std::string& result, bool bLastCall);

}  // namespace WX_CLIENT
