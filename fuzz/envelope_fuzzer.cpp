// An envelope is refused or read; what was read, written again and read again, is the same.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/value.h>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/settled_throw.h"
#include "ipc/protocol/envelope.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const Json::Value root = ObjectIn(text);
    const Json::Value& type = JsonMember(root, "message_type");
    const bool bInit = IsJsonInteger(type) && type == 1;
    Request request;
    EnvelopeStatus status = EnvelopeStatus::ParseError;
    // A content of type 1 must be a text.
    if (!DoneOrSettled(bInit && !ConvertsToText(JsonMember(root, "content")),
                       [&] { status = ReadEnvelope(text, request); }) ||
        status != EnvelopeStatus::Ok) {
        return 0;
    }
    FUZZ_CHECK(type == request.nType);
    const Json::Value content = bInit ? Json::Value(request.strCommandLine) : request.content;
    FUZZ_CHECK(bInit || content.isNull() || content.type() == Json::objectValue);
    Request again;
    FUZZ_CHECK(ReadEnvelope(WriteEnvelope(request.nType, content), again) == EnvelopeStatus::Ok);
    FUZZ_CHECK(again.nType == request.nType);
    FUZZ_CHECK(again.strCommandLine == request.strCommandLine);
    // Reading what was written gives the same value: a handler needs no second reading of its content's text.
    FUZZ_CHECK(again.content == request.content && again.ContentText() == request.ContentText());
    return 0;
}
