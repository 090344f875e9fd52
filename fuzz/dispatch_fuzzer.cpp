// From the bytes of a message to what the host asks of an instance and tells the monitor: nothing crashes, and what is
// written reads back as the same.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "host/monitor_notice.h"
#include "host/request_rules.h"
#include "ipc/envelope.h"

namespace {

std::size_t WordAt(const std::string& bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]) | static_cast<std::size_t>(static_cast<unsigned char>(bytes[at + 1]))
                                                       << 8;
}

// Walks a notice as the monitor does: every length must lead exactly to its end.
void CheckNotice(const std::string& notice) {
    FUZZ_CHECK(notice.size() >= 12 && notice.compare(0, 4, "BVRS") == 0 && WordAt(notice, 4) == 1);
    std::size_t at = 8;
    for (std::size_t count = WordAt(notice, 6); count > 0; --count) {
        FUZZ_CHECK(at + 2 <= notice.size());
        at += 2 + WordAt(notice, at);
        FUZZ_CHECK(at + 4 <= notice.size());
        const std::size_t type = WordAt(notice, at);
        FUZZ_CHECK(type == 101 || (type == 3 && WordAt(notice, at + 2) == 4));
        at += 4 + WordAt(notice, at + 2);
    }
    FUZZ_CHECK(at + 4 == notice.size() && notice.compare(at, 4, "\x7D\x92\x5F\x3E") == 0);
}

void CheckBody(int type, const std::string& body) {
    const bool needsP1 = RulesOfRequest(static_cast<MessageType>(type)).bNeedsP1;
    std::string id = "unset";
    const RequestStatus status = ReadRequestServiceId(body, needsP1, id);
    FUZZ_CHECK(status == RequestStatus::Ok || id == "unset");
    // A body comes out of an envelope, so it parses; only null is no object.
    FUZZ_CHECK((status == RequestStatus::ParseError) == (body == "null"));

    MonitorRequest request;
    if (ReadMonitorRequest(body, request) == MonitorRequestStatus::Ok) {
        if (const auto notice = request.bag.Serialize()) {
            CheckNotice(*notice);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    const std::string message = bytes.c_str();
    try {
        Envelope envelope;
        if (ReadEnvelope(message, envelope) != EnvelopeStatus::Ok || envelope.nType == 1) {
            return 0;
        }
        Json::Value content;
        FUZZ_CHECK(ParseJson(envelope.strBody, content));
        Envelope again;
        FUZZ_CHECK(ReadEnvelope(WriteEnvelope(envelope.nType, content), again) == EnvelopeStatus::Ok);
        FUZZ_CHECK(again.nType == envelope.nType && again.strBody == envelope.strBody);
        CheckBody(envelope.nType, envelope.strBody);
    } catch (const std::exception&) {
        // A conversion that the JSON library refuses ends the process.
    }
    return 0;
}
