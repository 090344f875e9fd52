#include "open/probes/status_probe.h"

#include <algorithm>

#include "foundation/json_text.h"
#include "open/probes/wechat_kind.h"

namespace {

Json::Value StatusObject(const AppStatus& status) {
    const auto word = [](bool bYes) { return Json::Value(bYes ? "1" : "0"); };
    Json::Value root(Json::objectValue);
    root["wx_inst"] = word(status.wx_inst);
    root["wx_login"] = word(status.wx_login);
    root["mini_wx_inst"] = word(status.mini_wx_inst);
    root["mini_wx_login"] = word(status.mini_wx_login);
    root["yyb_inst"] = word(status.yyb_inst);
    root["yyb_login"] = word(status.yyb_login);
    return root;
}

}  // namespace

bool DecideWeChatLogin(IStatusFacts& facts) {
    if (!facts.IsWeChatInstalled()) {
        return false;
    }
    switch (facts.WeChatKind()) {
        case kWeixinKind:
            return facts.HasWindow(L"Qt51514TrayIconMessageWindowClass");
        case kWeChatKind:
            // A client that runs and asks for no login counts as logged in, its main window open or not.
            return facts.HasWindow(L"WeChatMainWndForPC") ||
                   (facts.HasProcess(L"WeChat.exe") && !facts.HasWindow(L"WeChatLoginWndForPC"));
        default:
            return false;
    }
}

AppStatus ProbeAppStatus(IStatusFacts& facts) {
    AppStatus status;
    status.wx_inst = facts.IsWeChatInstalled();
    status.wx_login = DecideWeChatLogin(facts);
    status.mini_wx_inst = facts.IsWxMiniProgramInstalled();
    status.mini_wx_login = facts.CheckWxMiniProgramIntalled();
    status.yyb_inst = facts.IsAndrowsInstalled();
    status.yyb_login = facts.IsYybLogined();
    return status;
}

std::string WriteAppStatus(const AppStatus& status) {
    return WriteJson(StatusObject(status));
}

std::string WriteAppStatus(const AppStatus& status, const std::string& qimei32, const std::string& qimei36) {
    Json::Value root = StatusObject(status);
    root["qimei32"] = qimei32;
    root["qimei36"] = qimei36;
    return WriteJson(root);
}

std::array<StatusValue, 6> StatusValues(const AppStatus& status) {
    return {{{L"wx_install", status.wx_inst},
             {L"wx_login", status.wx_login},
             {L"mini_install", status.mini_wx_inst},
             {L"mini_login", status.mini_wx_login},
             {L"yyb_install", status.yyb_inst},
             {L"yyb_login", status.yyb_login}}};
}

std::wstring DecimalText(std::int64_t number) {
    // The magnitude of the least number has no signed form.
    std::uint64_t rest = number < 0 ? 0 - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    std::wstring text;
    do {
        text += static_cast<wchar_t>(L'0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (number < 0) {
        text += L'-';
    }
    std::ranges::reverse(text);
    return text;
}
