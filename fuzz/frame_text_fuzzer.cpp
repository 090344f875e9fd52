// What nexctl shows of any bytes: whole frames are cut out and one byte more is not one, every payload has a
// line and a record, and hexadecimal text reads back as the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "ipc/transport/frame.h"
#include "tooling/frame_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> payloads;
    std::string again;
    const bool whole = CutFrames(bytes, payloads);
    for (const std::string& payload : payloads) {
        again += BuildFrame(payload);
    }
    // What is cut off of the last frame leaves the others as they were, and frames of another type are skipped.
    FUZZ_CHECK(again.size() <= bytes.size());
    if (whole) {
        std::vector<std::string> same;
        FUZZ_CHECK(CutFrames(again, same) && same == payloads);
        same.clear();
        FUZZ_CHECK(bytes.empty() || !CutFrames(std::string(bytes) + std::string(1, '\0'), same));
    }
    // Some payloads and the whole: a payload by itself is another input's whole.
    constexpr std::size_t kMostShown = 2;
    payloads.resize(std::min(payloads.size(), kMostShown));
    payloads.emplace_back(bytes);
    FrameDirection direction = size % 2 == 0 ? FrameDirection::Sent : FrameDirection::Received;
    for (const std::string& payload : payloads) {
        FUZZ_CHECK(!FrameLine(direction, payload).empty());
        const Json::Value record = FrameRecord(direction, payload);
        Json::Value read;
        FUZZ_CHECK(record.isMember("direction") && record.isMember("name") && record.isMember("type"));
        FUZZ_CHECK(ParseJson(WriteJson(record), read));
        direction = direction == FrameDirection::Sent ? FrameDirection::Received : FrameDirection::Sent;
    }
    std::string back;
    FUZZ_CHECK(ParseHex(HexText(bytes), back) && back == bytes);
    back.clear();
    if (ParseHex(bytes, back)) {
        FUZZ_CHECK(back.size() <= bytes.size() / 2);
        std::string same;
        FUZZ_CHECK(ParseHex(HexText(back), same) && same == back);
    }
    return 0;
}
