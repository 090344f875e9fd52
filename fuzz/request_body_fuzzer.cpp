// A request's body is refused or read; what a reply adds to it leaves the rest of it alone.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "service/delay_check.h"
#include "service/request_body.h"

namespace {

void CheckOpen(Json::Value root) {
    std::string openText;
    if (!ReadOpenMiniApp(root, openText)) {
        return;
    }
    Json::Value p1;
    FUZZ_CHECK(ParseJson(openText, p1));
    FUZZ_CHECK(p1.isNull() || p1.type() == Json::objectValue);
    const Json::Value before = root;
    AddOpenResult(root, "word", false);
    FUZZ_CHECK(root["result"] == "word" && root["ret"] == "0");
    for (const std::string& key : before.getMemberNames()) {
        FUZZ_CHECK(key == "result" || key == "ret" || root[key] == before[key]);
    }
}

void CheckPoll(Json::Value root) {
    std::string text;
    if (!TakeOpenMiniAppSuccessfully(root, text)) {
        return;
    }
    Json::Value value;
    FUZZ_CHECK(ParseJsonText(text.data(), text.size(), value) || value.isNull());
    FUZZ_CHECK(root["p1"] == value);
}

void CheckDelayedCheck(const std::string& text) {
    const std::int32_t interval = DelayInterval(text, 2000);
    FUZZ_CHECK(interval != 0);
    Json::Value root;
    if (!ParseRunStatusParam(text, root)) {
        return;
    }
    for (const bool success : {true, false}) {
        const Json::Value* urls = SelectLogUrls(root, success);
        FUZZ_CHECK(urls == nullptr || urls->type() == Json::arrayValue);
    }
    // A long interval is walked for real elsewhere.
    if (interval > 0 && interval < 1000000) {
        CDelayCheckSchedule schedule(interval);
        std::int32_t asks = 1;
        for (; !schedule.IsLastCall(); ++asks) {
            FUZZ_CHECK(schedule.Next());
        }
        FUZZ_CHECK(!schedule.Next());
        FUZZ_CHECK(asks == (interval - 1) / 2000 + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    CheckDelayedCheck(text);
    Json::Value root;
    if (!ParseRequestBody(text, root)) {
        return 0;
    }
    CheckOpen(root);
    CheckPoll(root);
    if (const Json::Value* p1 = FindJsonMember(root, "p1")) {
        try {
            CheckDelayedCheck(JsonToText(*p1));
            TextToEncrypt(*p1);
        } catch (const Json::LogicError&) {
            // What is no text where a text is asked for: the process ends there by decision.
        }
    }
    return 0;
}
