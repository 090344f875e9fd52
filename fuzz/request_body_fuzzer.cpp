// A request's body is refused or read; what a reply adds to it leaves the rest of it alone.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

#include "foundation/json_text.h"
#include "foundation/shared_json.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/settled_throw.h"
#include "ipc/protocol/request_table.h"
#include "service/delay_check.h"
#include "service/request_body.h"
#include "tests/support/message_number.h"

namespace {

void CheckOpen(const Json::Value& before) {
    if (CheckContent(*FindRequest(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN)), before) != ContentStatus::Ok) {
        return;
    }
    FUZZ_CHECK(before["p1"].isNull() || before["p1"].type() == Json::objectValue);
    Json::Value content = before;
    AddOpenResult(content, "word", false);
    FUZZ_CHECK(content["result"] == "word" && content["ret"] == "0");
    for (const std::string& key : before.getMemberNames()) {
        FUZZ_CHECK(key == "result" || key == "ret" || content[key] == before[key]);
    }
}

void CheckPoll(Json::Value content) {
    if (CheckContent(*FindRequest(Number(MessageType::S_MT_OpenMiniAppSuccessfully)), content) != ContentStatus::Ok) {
        return;
    }
    const std::string text = JsonToText(content["p1"]);
    const Json::Value& question = TakeOpenMiniAppSuccessfully(content);
    Json::Value value;
    FUZZ_CHECK(ParseJsonText(text.data(), text.size(), value) || value.isNull());
    FUZZ_CHECK(question == value && content["p1"] == value);
}

void CheckDelayedCheck(const std::string& text) {
    const CSharedJson question(text);
    const Json::Value& root = question.Value();
    const std::int32_t interval = DelayInterval(root).value_or(2000);
    FUZZ_CHECK(interval != 0);
    FUZZ_CHECK(question.Text() == text);
    if (!root.isObject()) {
        FUZZ_CHECK(!DelayInterval(root).has_value());
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
    const Json::Value root = ObjectIn(text);
    if (!root.isObject()) {
        return 0;
    }
    CheckOpen(root);
    CheckPoll(root);
    if (const Json::Value* p1 = FindJsonMember(root, "p1")) {
        const bool bText = ConvertsToText(*p1);
        bool bInnerText = true;
        if (bText) {
            const std::string inner = JsonToText(*p1);
            CheckDelayedCheck(inner);
            bInnerText = ConvertsToText(JsonMember(ObjectIn(inner), "text"));
        }
        DoneOrSettled(!bText || !bInnerText, [&] { TextToEncrypt(*p1); });
    }
    return 0;
}
