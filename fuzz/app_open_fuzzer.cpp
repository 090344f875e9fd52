// Any text given to the open request and to the poll gives one of the fixed words or reaches one route, with its
// parameters there; or it holds a value that does not convert.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <json/value.h>

#include "fuzz/fuzz_check.h"
#include "open/channel_config.h"
#include "open/mini_program_service.h"
#include "open/open_request.h"

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
    if (!WxMiniProgramService::ParseAppOpenInfo(text, info)) {
        FUZZ_CHECK(info == AppOpenInfo());
        return;
    }
    FUZZ_CHECK(info.show || (info.timeOut == 2000 && info.name.empty() && info.iconUrl.empty()));
    FUZZ_CHECK(info.create || (info.imageUrl.empty() && info.shortcutName.empty() && info.successDot.empty() &&
                               info.errorDot.empty()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    try {
        CheckParsed(text);
        CCheckingRoutes routes(data[0]);
        std::string result;
        DecideOpen(text, routes, result);
        CheckWord(result, routes.Reached());
    } catch (const Json::LogicError&) {
        // Settled: this ends the process.
    }
    try {
        CCheckingRoutes routes(data[0]);
        std::string result;
        const bool bEnded = DecideOpenPoll(text, routes, result, (data[0] & 8) != 0);
        FUZZ_CHECK(bEnded == routes.Reached());
        CheckWord(result, routes.Reached());
    } catch (const Json::LogicError&) {
    }
    try {
        ChannelConfig config;
        ParseChannelConfig(text, (data[0] & 16) != 0, config);
    } catch (const Json::LogicError&) {
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return 0;
}
