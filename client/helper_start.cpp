#include "client/helper_start.h"

#include <json/value.h>

#include "client/reason.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"

namespace {

// What the helper's buffers hold, terminator not counted.
constexpr std::size_t kMaxNameChars = 258;
constexpr std::size_t kMaxChannelChars = 518;

// What a command line cannot carry of a value; empty when it can carry it all.
std::string WhatIsWrong(const std::wstring& value) {
    if (value.find(L'"') != std::wstring::npos) {
        return "contains a quotation mark";
    }
    if (value.find(L'\0') != std::wstring::npos) {
        return "contains a zero";
    }
    // The helper finds a switch anywhere in the text, also inside a value.
    for (const wchar_t* key : {L"/from:", L"/channel:", L"/type:", L"/param:", L"/service_id:"}) {
        if (value.find(key) != std::wstring::npos) {
            return "contains the switch " + Utf16ToUtf8(key);
        }
    }
    return {};
}

CallerResult AppendSwitch(std::wstring& commandLine, const wchar_t* key, const std::wstring& value,
                          std::size_t maxChars) {
    if (value.empty()) {
        return CallerResult::Ok;
    }
    const std::string wrong = WhatIsWrong(value);
    if (!wrong.empty()) {
        return BadArgument("the value of " + Utf16ToUtf8(key) + " " + wrong);
    }
    if (value.size() > maxChars) {
        return BadArgument("the value of " + Utf16ToUtf8(key) + " has " + std::to_string(value.size()) +
                           " characters, in base64 where the switch is sent so; the helper reads " +
                           std::to_string(maxChars));
    }
    const bool quoted = value.find(L' ') != std::wstring::npos;
    commandLine += L' ';
    commandLine += key;
    commandLine += quoted ? L"\"" + value + L"\"" : value;
    return CallerResult::Ok;
}

}  // namespace

std::string Base64Encode(std::string_view bytes) {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0u);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= count ? kAlphabet[group >> (18 - 6 * i) & 63] : '=';
        }
    }
    return text;
}

std::string MakeChannelText(std::wstring_view strMark, std::string_view strMid, std::uint32_t nChannelId,
                            std::string_view strProduct, std::string_view strFrom) {
    Json::Value channel(Json::objectValue);
    channel["mid"] = std::string(strMid);
    if (strMark.find(L"ml") != std::wstring_view::npos) {
        channel["channel_id"] = nChannelId;
    } else {
        channel["channel_id"] = std::to_string(nChannelId);
    }
    channel["product"] = std::string(strProduct);
    channel["from"] = std::string(strFrom);
    return WriteJson(channel);
}

CallerResult BuildHelperCommandLine(const HelperStart& start, std::wstring& commandLine) {
    if (start.strExe.empty()) {
        return BadArgument("the program's path is empty");
    }
    if (const std::string wrong = WhatIsWrong(start.strExe); !wrong.empty()) {
        return BadArgument("the program's path " + wrong + ": " + Utf16ToUtf8(start.strExe));
    }
    std::wstring line = L"\"" + start.strExe + L"\"";
    struct Switch {
        const wchar_t* key;
        std::wstring value;
        std::size_t maxChars;
    };
    const Switch switches[] = {
        {L"/from:", start.strMark, kMaxNameChars},
        {L"/channel:", Utf8ToUtf16(Base64Encode(start.strChannel)), kMaxChannelChars},
        {L"/service_id:", Utf8ToUtf16(start.strServiceId), kMaxNameChars},
        {L"/type:", start.strType, kMaxNameChars},
        {L"/param:", Utf8ToUtf16(Base64Encode(start.strParam)), std::wstring::npos},
    };
    for (const Switch& one : switches) {
        const CallerResult result = AppendSwitch(line, one.key, one.value, one.maxChars);
        if (result != CallerResult::Ok) {
            return result;
        }
    }
    commandLine = std::move(line);
    return CallerResult::Ok;
}

CallerResult StartProgram(const std::wstring& strExe, const std::wstring& commandLine, StartedProcess& process,
                          DWORD& systemError) {
    std::wstring folder = strExe;
    const std::size_t slash = folder.find_last_of(L"\\/");
    folder.resize(slash == std::wstring::npos ? 0 : slash);

    // The system may write into the command line's buffer.
    std::wstring line = commandLine;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    // It shows nothing of its own at the start: no pointer that looks busy for seconds.
    startup.dwFlags = STARTF_FORCEOFFFEEDBACK;
    PROCESS_INFORMATION made = {};
    if (CreateProcessW(strExe.c_str(), line.data(), nullptr, nullptr, /*bInheritHandles=*/FALSE, 0, nullptr,
                       folder.empty() ? nullptr : folder.c_str(), &startup, &made) == FALSE) {
        systemError = GetLastError();
        SetReason(Utf16ToUtf8(strExe));
        return CallerResult::NotStarted;
    }
    CloseHandle(made.hThread);
    process.hProcess.reset(made.hProcess);
    process.dwProcessId = made.dwProcessId;
    systemError = ERROR_SUCCESS;
    return CallerResult::Ok;
}
