#include "nexctl/log/timeline_texts.h"

#include <cstdlib>

#include "ipc/protocol/request_table.h"

bool NeedsNoReply(int nType) {
    return nType != 0 && ReplyTypeOf(nType) == 0;
}

bool IsArrival(const LogLine& line) {
    return line.strText == "ReceiveIPCMessage begin";
}

std::optional<std::string> ReceivedMessage(const LogLine& line) {
    constexpr std::string_view kHead = "ReceiveIPCMessage szMessage=";
    return line.strText.starts_with(kHead) ? std::optional<std::string>(line.strText.substr(kHead.size()))
                                           : std::nullopt;
}

std::string CallOf(std::string_view payload) {
    constexpr std::string_view kKey = "\"nexlet_call\":";
    const std::size_t at = payload.find(kKey);
    if (at == std::string_view::npos) {
        return {};
    }
    std::string number;
    for (const char c : payload.substr(at + kKey.size())) {
        if (c < '0' || c > '9') {
            break;
        }
        number += c;
    }
    return number;
}

int TypeOfHandler(std::string_view function) {
    constexpr struct {
        std::string_view name;
        int type;
    } kHandlers[] = {{"GetWxAppStatus", 2},      {"GetWxAppStatusEncrypt", 3}, {"GetWxAppQIMEI", 4},
                     {"GetRSAEncrypt", 5},       {"OpenMiniApp", 6},           {"OpenMiniAppSuccessfully", 7},
                     {"DelayCheckWndStatus", 8}, {"DestroyWxServiceItme", 9}};
    const std::string_view last = function.substr(function.rfind(':') + 1);
    for (const auto& handler : kHandlers) {
        if (handler.name == last) {
            return handler.type;
        }
    }
    return 0;
}

int SentType(const LogLine& line) {
    constexpr std::string_view kHead = "Type=";
    if (!line.strText.starts_with(kHead)) {
        return 0;
    }
    return std::atoi(line.strText.c_str() + kHead.size());
}

int ReceivedType(const LogLine& line) {
    if (!line.strText.starts_with("receive ")) {
        return 0;
    }
    const std::size_t from = line.strText.find_last_of(": ") + 1;
    for (int type = 1; type <= 9; ++type) {
        if (line.strText.substr(from) == MessageTypeName(type)) {
            return type;
        }
    }
    return 0;
}

MarkKind KindOf(const LogLine& line) {
    const std::string& text = line.strText;
    if (IsRefusal(line)) {
        return MarkKind::Refusal;
    }
    if (text.starts_with("Report: ") || text.starts_with("successLog url=") || text.starts_with("errorLog url=")) {
        return MarkKind::Beacon;
    }
    if (text == "create timer" || text.starts_with("OnTimer ") || text.starts_with("Automatic recording") ||
        text == "Check procee exit begin" || text == "Check timeout, exit process begin" ||
        text == "update zolt status") {
        return MarkKind::Timer;
    }
    return MarkKind::Line;
}

std::string WordBefore(const std::string& text, std::string_view what) {
    const std::size_t at = text.find(what);
    if (at == std::string::npos || at == 0 || text.find(' ') != at) {
        return {};
    }
    const std::size_t after = at + what.size();
    return after == text.size() || text[after] == ',' || text[after] == ' ' ? text.substr(0, at) : std::string();
}
