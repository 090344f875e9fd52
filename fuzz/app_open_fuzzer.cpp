// Any text given to the open request and to the poll gives one of the fixed words or reaches one route, with its
// parameters there; or it holds a value that does not convert.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include <json/value.h>

#include "fuzz/fuzz_check.h"
#include "fuzz/settled_throw.h"
#include "open/record/channel_config.h"
#include "open/request/mini_program_service.h"
#include "open/request/open_request.h"

namespace {

constexpr std::array<std::string_view, 9> kRefusals = {"ParseAppOpenInfo error",
                                                       "not from",
                                                       "OpenWithWeChat lack param",
                                                       "OpenWithWxSDK lack param",
                                                       "OpenWidthYybSDK lack param",
                                                       "is system screen saver",
                                                       "uninstalled",
                                                       "InitWxApi error",
                                                       "not type"};

// Answers by the bits of a number, and checks what reaches it.
class CCheckingRoutes final : public IOpenRoutes {
  public:
    explicit CCheckingRoutes(std::uint8_t answers) : m_nAnswers(answers) {}

    bool IsSystemPicStart() override { return (m_nAnswers & 1) != 0; }
    bool IsWxMiniProgramInstalled() override { return (m_nAnswers & 2) != 0; }
    bool InitWxApi() override { return (m_nAnswers & 4) != 0; }

    void OpenWithWeChat(const AppOpenInfo& info, std::string& result) override {
        FUZZ_CHECK(info.type == "weChat" && !info.urlScheme.empty() && !info.wndname.empty() && !info.taskId.empty());
        Reach(info.from, result);
    }
    void OpenWithWxSDK(const AppOpenInfo& info, std::string& result) override {
        FUZZ_CHECK(info.type == "miniApp" && !info.appId.empty() && !info.taskId.empty());
        Reach(info.from, result);
    }
    void SetLastTaskId(const std::string& taskId) override { FUZZ_CHECK(!taskId.empty()); }
    void OpenWidthYybSDK(const AppOpenInfo& info, bool bAllowInstall, std::string& result) override {
        FUZZ_CHECK(info.type == "yyb" && !info.yybParam.empty() && !info.appId.empty() && !info.taskId.empty());
        FUZZ_CHECK(bAllowInstall == (info.try_install && info.AllowInstallYYB && info.OvrinSafeExist));
        Reach(info.from, result);
    }
    bool PollWeChat(const OpenPollInfo& info, std::string& result, bool /*bLastCall*/) override {
        FUZZ_CHECK(info.type == "weChat");
        return Reach(info.from, result);
    }
    bool PollWxSDK(const OpenPollInfo& info, std::string& result) override {
        FUZZ_CHECK(info.type == "miniApp");
        return Reach(info.from, result);
    }
    bool PollYyb(const OpenPollInfo& info, std::string& result, bool /*bLastCall*/) override {
        FUZZ_CHECK(info.type == "yyb");
        return Reach(info.from, result);
    }

    bool Reached() const { return m_bReached; }

  private:
    bool Reach(const std::string& from, std::string& result) {
        FUZZ_CHECK(!from.empty() && !m_bReached);
        m_bReached = true;
        result = "reached";
        return true;
    }

    std::uint8_t m_nAnswers;
    bool m_bReached = false;
};

void CheckWord(const std::string& result, bool bReached) {
    FUZZ_CHECK(bReached ? result == "reached" : std::ranges::find(kRefusals, result) != kRefusals.end());
}

void CheckParsed(const std::string& text) {
    AppOpenInfo info;
    if (!WxMiniProgramService::ParseAppOpenInfo(ValueOf(text), info)) {
        FUZZ_CHECK(info == AppOpenInfo());
        return;
    }
    FUZZ_CHECK(info.show || (info.timeOut == 2000 && info.name.empty() && info.iconUrl.empty()));
    FUZZ_CHECK(info.create || (info.imageUrl.empty() && info.shortcutName.empty() && info.successDot.empty() &&
                               info.errorDot.empty()));
}

// The value of a text as a number of 32 bits.
enum class Decimal { Fits, None, TooLarge };

Decimal Judge(const std::string& text) {
    std::size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
        ++at;
    }
    const std::size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
    if (end == at) {
        return Decimal::None;
    }
    const std::string digits = text.substr(std::min(text.find_first_not_of('0', at), end), end - at);
    const std::string significant = digits.substr(0, digits.find_first_not_of("0123456789"));
    return significant.size() < 10 || (significant.size() == 10 && significant <= "4294967295") ? Decimal::Fits
                                                                                                : Decimal::TooLarge;
}

// A channel ends the process by a channel_id of the wrong form, or by another member that is not a text.
void CheckChannel(const std::string& text, const Json::Value& root, bool bMlHost) {
    const Json::Value& id = JsonMember(root, "channel_id");
    const Decimal decimal = root.isObject() && !bMlHost && ConvertsToText(id) ? Judge(JsonToText(id)) : Decimal::Fits;
    const bool bIdConverts = bMlHost ? ConvertsToUInt(id) : ConvertsToText(id);
    Decimal thrown = Decimal::Fits;
    ChannelConfig config;
    DoneOrSettled(decimal == Decimal::Fits && (!bIdConverts || !AllConvertToText(root, {"product", "from"})), [&] {
        try {
            ParseChannelConfig(text, bMlHost, config);
        } catch (const std::invalid_argument&) {
            thrown = Decimal::None;
        } catch (const std::out_of_range&) {
            thrown = Decimal::TooLarge;
        }
    });
    FUZZ_CHECK(thrown == decimal);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const Json::Value root = ObjectIn(text);

    const bool bOpenSettled =
        !AllConvertToText(root, {"type", "appId", "appPath", "wndname", "urlScheme", "yybParam", "taskId", "from"}) ||
        !ConvertsToInt(JsonMember(root, "try_install")) || !ConvertsToInt(JsonMember(root, "AllowInstallYYB")) ||
        !ConvertsToInt(JsonMember(root, "OvrinSafeExist"));
    DoneOrSettled(bOpenSettled, [&] { CheckParsed(text); });
    DoneOrSettled(bOpenSettled, [&] {
        CCheckingRoutes routes(data[0]);
        std::string result;
        DecideOpen(ValueOf(text), routes, result);
        CheckWord(result, routes.Reached());
    });
    OpenPollInfo info;
    bool bRead = false;
    if (DoneOrSettled(!ConvertsToInt(JsonMember(root, "mon_wndexists")),
                      [&] { bRead = ParseOpenPollInfo(ValueOf(text), info); })) {
        CCheckingRoutes routes(data[0]);
        std::string result;
        const bool bEnded = DecideOpenPoll(bRead ? &info : nullptr, routes, result, (data[0] & 8) != 0);
        FUZZ_CHECK(bEnded == routes.Reached());
        CheckWord(result, routes.Reached());
    }
    CheckChannel(text, root, (data[0] & 16) != 0);
    return 0;
}
