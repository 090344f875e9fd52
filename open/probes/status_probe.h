// What is installed and logged in, as one small JSON text and as values in the registry. The facts come from
// IStatusFacts.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>

struct AppStatus {
    bool wx_inst = false;
    bool wx_login = false;
    bool mini_wx_inst = false;
    bool mini_wx_login = false;
    bool yyb_inst = false;
    bool yyb_login = false;

    bool operator==(const AppStatus&) const = default;
};

// What the probe asks of the machine. Any thread.
class IStatusFacts {
  public:
    virtual bool IsWeChatInstalled() = 0;
    // Under which name the client was last found; see open/probes/wechat_kind.h.
    virtual std::int32_t WeChatKind() = 0;
    // A top-level window of this class exists.
    virtual bool HasWindow(const wchar_t* className) = 0;
    // A process of this name runs, in any case. False when the list of processes cannot be read.
    virtual bool HasProcess(const wchar_t* name) = 0;
    virtual bool IsWxMiniProgramInstalled() = 0;
    virtual bool CheckWxMiniProgramIntalled() = 0;
    virtual bool IsAndrowsInstalled() = 0;
    virtual bool IsYybLogined() = 0;

  protected:
    ~IStatusFacts() = default;
};

// Whether the user of the WeChat client is logged in, judged by its windows.
bool DecideWeChatLogin(IStatusFacts& facts);

// All six answers, asked for in the order of the members. The client's install is asked for twice: the second time
// guards its login.
AppStatus ProbeAppStatus(IStatusFacts& facts);

// The JSON text of a status: its keys sorted, each value "1" or "0".
std::string WriteAppStatus(const AppStatus& status);

// The same with the identity pair beside it, for the enciphered form.
std::string WriteAppStatus(const AppStatus& status, const std::string& qimei32, const std::string& qimei36);

// The names and numbers under which a status is kept in the registry, in the order of writing.
using StatusValue = std::pair<const wchar_t*, std::uint32_t>;
std::array<StatusValue, 6> StatusValues(const AppStatus& status);

// Decimal digits, with a minus sign in front of a negative number.
std::wstring DecimalText(std::int64_t number);
