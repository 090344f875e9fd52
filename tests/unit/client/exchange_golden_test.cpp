// The exchanges of tests/data/exchanges, with the library as the caller and a stand-in that plays the helper's half.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "client/include/nexlet_client.hpp"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/unique_name.h"
#include "tooling/exchange.h"
#include "tooling/text_file.h"
#include "world/helper/scripted_helper.h"

namespace {

constexpr std::uint32_t kLongMs = 20000;

Exchange ReadGolden(const std::string& name) {
    // The tests run in the root of the tree.
    std::string text;
    EXPECT_TRUE(ReadTextFile("tests\\data\\exchanges\\" + name + ".exchange", text)) << name;
    Exchange exchange;
    std::string problem;
    EXPECT_TRUE(ReadExchange(text, exchange, problem)) << problem;
    EXPECT_GT(exchange.frames.size(), 2u);
    return exchange;
}

class GoldenExchange : public ::testing::TestWithParam<const char*> {};

TEST_P(GoldenExchange, LibrarySendsTheCallersHalfAndUnderstandsTheHelpers) {
    const Exchange exchange = ReadGolden(GetParam());
    const std::string mark = Utf16ToUtf8(UniqueName(L"golden"));
    CNexletClient client;
    ASSERT_EQ(client.Open(mark, exchange.service), NEXLET_OK);
    // Frame 0 is the ready notice; after a request comes its reply, or the next request.
    std::size_t asked = 1;
    CScriptedHelper helper;
    ASSERT_TRUE(helper.Come(ServicePipeName(Utf8ToUtf16(mark), exchange.service),
                            [&](const ScriptedRequest& request) -> std::vector<std::string> {
                                const auto& frames = exchange.frames;
                                EXPECT_LT(asked, frames.size());
                                EXPECT_EQ(request.strPayload, frames[asked].payload);
                                ++asked;
                                if (asked < frames.size() && frames[asked].direction == FrameDirection::Received) {
                                    return {frames[asked++].payload};
                                }
                                return {};
                            }));
    ASSERT_TRUE(client.WaitFrame(NEXLET_TYPE_READY, kLongMs));
    std::size_t requests = 0;
    for (std::size_t at = 1; at < exchange.frames.size(); ++at) {
        const ExchangeFrame& frame = exchange.frames[at];
        if (frame.direction == FrameDirection::Received) {
            continue;
        }
        ++requests;
        Json::Value message;
        const bool envelope = ParseJson(frame.payload, message) && message.isObject() && message["content"].isObject();
        if (!envelope || !message["content"].isMember("nexlet_call")) {
            EXPECT_EQ(client.SendPayload(frame.payload, kLongMs), NEXLET_OK);
            continue;
        }
        // The library numbers its calls itself, as the file does.
        message["content"].removeMember("nexlet_call");
        const auto answer = client.Call(message["message_type"].asInt(), WriteJson(message["content"]), kLongMs);
        ASSERT_TRUE(answer) << answer.Text();
        Json::Value reply;
        ASSERT_TRUE(ParseJson(exchange.frames.at(at + 1).payload, reply));
        reply["content"].removeMember("nexlet_call");
        EXPECT_EQ(answer.value, WriteJson(reply["content"]));
    }
    ASSERT_TRUE(helper.WaitForRequests(requests));
    helper.Leave();
    EXPECT_EQ(asked, exchange.frames.size());
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenExchange,
                         ::testing::Values("open", "requests", "refusals", "words", "products", "refuses", "fails",
                                           "missing", "bare", "screen-saver"),
                         [](const auto& file) {
                             std::string name = file.param;
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

}  // namespace
