// From the bytes of a pipe through frames, envelope and dispatch to the handlers, and to what the host asks of an
// instance and tells the monitor: nothing crashes, and every request reaches the handler of its type.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/settled_throw.h"
#include "host/monitor_notice.h"
#include "host/request_rules.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame_cutter.h"

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

void CheckContentOf(int nType, const Json::Value& content) {
    const bool needsP1 = RulesOfRequest(static_cast<MessageType>(nType)).bNeedsP1;
    std::string id = "unset";
    const ContentStatus status = ReadRequestServiceId(content, needsP1, id);
    FUZZ_CHECK(status == ContentStatus::Ok || id == "unset");
    FUZZ_CHECK((status == ContentStatus::ParseError) == content.isNull());
    if (content.isNull()) {
        return;
    }
    const Json::Value& show = JsonMember(content, "isWxPopShow");
    const Json::Value& data = JsonMember(content, "wxPopData");
    bool bSettled = !ConvertsToInt(show);
    if (!bSettled && JsonToInt(show) == 1) {
        bSettled = !(data.isObject() || data.isNull()) ||
                   !AllConvertToText(data, {"name", "appid", "icon", "impressionid"}) ||
                   !ConvertsToInt(JsonMember(data, "style_id"));
    }
    MonitorRequest request;
    MonitorRequestStatus read = MonitorRequestStatus::BadText;
    if (DoneOrSettled(bSettled, [&] { read = ReadMonitorRequest(content, request); }) &&
        read == MonitorRequestStatus::Ok) {
        if (const auto notice = request.bag.Serialize()) {
            CheckNotice(*notice);
        }
    }
}

// An owner whose handlers check what reaches them.
class COwner final : public IRequestOwner, public IRequestHandlers {
  public:
    std::shared_ptr<IRequestHandlers> Owner() const override { return m_pSelf.lock(); }

#define TAKE(name)                              \
    void name(Request& request) override {      \
        Take(request, &IRequestHandlers::name); \
    }
    NXL_REQUEST_HANDLERS(TAKE)
#undef TAKE

    std::weak_ptr<COwner> m_pSelf;
    int m_nTaken = 0;

  private:
    void Take(Request& request, void (IRequestHandlers::*pHandler)(Request& request)) {
        FUZZ_CHECK(FindRequest(request.nType)->pHandler == pHandler);
        FUZZ_CHECK(request.content.isNull() || request.content.isObject());
        CheckContentOf(request.nType, request.content);
        CheckContent(*FindRequest(request.nType), request.content);
        ++m_nTaken;
    }
};

// Between the frame cutter and the sink of a caller's pipe: allows the one throw that is settled.
class CToSink final : public IPipeConnectCallback {
  public:
    explicit CToSink(CPipeClientCallback& sink) : m_sink(sink) {}

    void Connected() override {}
    void Lost() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        const Json::Value root = length > 0 ? ObjectIn(reinterpret_cast<const char*>(data)) : Json::Value();
        const Json::Value& type = JsonMember(root, "message_type");
        const bool bInit = IsJsonInteger(type) && type == 1;
        DoneOrSettled(bInit && !ConvertsToText(JsonMember(root, "content")), [&] { m_sink.Received(data, length); });
        return 0;
    }

  private:
    CPipeClientCallback& m_sink;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto pOwner = std::make_shared<COwner>();
    pOwner->m_pSelf = pOwner;
    CPipeClientCallback sink;
    sink.SetClient(pOwner);
    CToSink toSink(sink);
    // As the payload of one frame.
    const std::string payload(data, data + size);
    toSink.Received(reinterpret_cast<const unsigned char*>(payload.c_str()), static_cast<std::int32_t>(size));
    // As what a pipe delivers, in pieces.
    CFrameCutter cutter;
    const std::size_t piece = size > 0 ? data[0] + std::size_t{1} : 1;
    for (std::size_t at = 0; at < size; at += piece) {
        cutter.Append(data + at, std::min(piece, size - at));
        cutter.DispatchFrames(&toSink);
    }
    return 0;
}
