// What the stand-in servers read: told answers, requests, and the bytes of a TLS client. A part that is cut off is gone
// from the front and nothing else is, and an answer that is taken keeps to its rules.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "world/internet/http_head.h"
#include "world/internet/tls_messages.h"
#include "world/internet/told_answers.h"

namespace {

// Takes what is whole off messages.
void CutMessages(std::string& messages) {
    TlsMessage message;
    while (CutTlsMessage(messages, message) == TlsCut::Whole) {
        FUZZ_CHECK(TlsMessageBytes(message.type, message.strBody) == message.strWhole);
        TlsClientHello hello;
        if (ReadTlsClientHello(message.strBody, hello)) {
            FUZZ_CHECK(hello.strRandom.size() == kTlsRandomBytes);
        }
        FUZZ_CHECK(TlsSealedSecret(message.strBody).size() <= message.strBody.size());
    }
}

void CutAll(const std::string& bytes) {
    // As they come from a connection, a part at a time.
    constexpr std::size_t kPart = 4096;
    std::string pending;
    std::string messages;
    for (std::size_t at = 0; at < bytes.size(); at += kPart) {
        pending.append(bytes, at, kPart);
        TlsRecord record;
        while (CutTlsRecord(pending, record) == TlsCut::Whole) {
            FUZZ_CHECK(std::string_view(bytes).substr(0, at + kPart).ends_with(pending));
            FUZZ_CHECK(record.strBytes.size() <= kTlsMostRecordBytes);
            messages += record.strBytes;
        }
        CutMessages(messages);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    HttpHead head;
    if (ReadHttpHead(text, 80, {}, head)) {
        FUZZ_CHECK(!head.strMethod.empty());
        FUZZ_CHECK(head.strMethod == "CONNECT" ? head.strPath.empty() : head.strPath.starts_with('/'));
    }
    const std::vector<ToldAnswer> answers = ReadAnswers(text);
    for (const ToldAnswer& answer : answers) {
        FUZZ_CHECK(answer.nStatus >= 200 && answer.nStatus <= 599);
        FUZZ_CHECK(("\\" + answer.strFile + "\\").find("\\..\\") == std::string::npos);
        FUZZ_CHECK(answer.strFile.empty() || answer.strBody.empty());
    }
    const ToldAnswer* const found = AnswerFor(answers, head.strHost, head.strPath);
    FUZZ_CHECK(found == nullptr || found->strHost == "*" || found->strHost.size() == head.strHost.size());
    CutAll(text);
    return 0;
}
