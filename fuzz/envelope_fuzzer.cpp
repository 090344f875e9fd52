// An envelope is refused or read; what was read, written again and read again, is the same.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "ipc/envelope.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    Envelope envelope;
    try {
        if (ReadEnvelope(text, envelope) != EnvelopeStatus::Ok) {
            return 0;
        }
    } catch (const Json::LogicError&) {
        // A content of type 1 that is no text: the process ends there by decision.
        return 0;
    }
    Json::Value content(envelope.strBody);
    if (envelope.nType != 1) {
        FUZZ_CHECK(ParseJson(envelope.strBody, content));
        FUZZ_CHECK(content.isNull() || content.type() == Json::objectValue);
    }
    Envelope again;
    FUZZ_CHECK(ReadEnvelope(WriteEnvelope(envelope.nType, content), again) == EnvelopeStatus::Ok);
    FUZZ_CHECK(again.nType == envelope.nType);
    FUZZ_CHECK(again.strBody == envelope.strBody);
    return 0;
}
