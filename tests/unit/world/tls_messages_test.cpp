// The bytes of the handshake. That real clients understand them is for the tests of the whole world.
#include "world/internet/tls_messages.h"

#include <gtest/gtest.h>

namespace {

const std::string kRandom(32, 'r');

std::string Counted(const std::string& bytes, std::size_t lengthBytes) {
    return BigEndian(bytes.size(), lengthBytes) + bytes;
}

std::string Hello(const std::string& suites, const std::string& extensions, const std::string& version = "\x03\x03") {
    return version + kRandom + Counted("session", 1) + Counted(suites, 2) + Counted(std::string(1, '\0'), 1) +
           extensions;
}

TlsClientHello Read(const std::string& body) {
    TlsClientHello hello;
    EXPECT_TRUE(ReadTlsClientHello(body, hello));
    return hello;
}

TEST(TlsMessages, RecordsAreCutWherePiecesEnd) {
    const std::string bytes = TlsRecordBytes(TlsContent::Handshake, "abc") + TlsRecordBytes(TlsContent::Data, "");
    EXPECT_EQ(bytes.substr(0, 8), std::string("\x16\x03\x03\x00\x03", 5) + "abc");
    std::string pending;
    TlsRecord record;
    for (std::size_t i = 0; i < 7; ++i) {
        pending += bytes[i];
        EXPECT_EQ(CutTlsRecord(pending, record), TlsCut::NeedsMore);
    }
    pending = bytes;
    EXPECT_EQ(CutTlsRecord(pending, record), TlsCut::Whole);
    EXPECT_EQ(record.type, TlsContent::Handshake);
    EXPECT_EQ(record.strBytes, "abc");
    EXPECT_EQ(CutTlsRecord(pending, record), TlsCut::Whole);
    EXPECT_EQ(record.type, TlsContent::Data);
    EXPECT_EQ(pending, "");
}

TEST(TlsMessages, WhatIsNotARecordBreaksTheConnection) {
    TlsRecord record;
    for (const std::string& bytes :
         {std::string("GET / HTTP"), std::string("\x16\x02\x00\x00\x01x", 6), std::string("\x16\x03\x03\xFF\xFFx", 6),
          std::string("\x18\x03\x03\x00\x01x", 6)}) {
        std::string pending = bytes;
        EXPECT_EQ(CutTlsRecord(pending, record), TlsCut::Broken);
    }
}

TEST(TlsMessages, MessagesAreCutAcrossRecords) {
    std::string pending = TlsMessageBytes(TlsHandshake::Finished, "0123456789ab");
    const std::string whole = pending;
    TlsMessage message;
    pending.resize(whole.size() - 1);
    EXPECT_EQ(CutTlsMessage(pending, message), TlsCut::NeedsMore);
    pending = whole + "next";
    EXPECT_EQ(CutTlsMessage(pending, message), TlsCut::Whole);
    EXPECT_EQ(message.type, TlsHandshake::Finished);
    EXPECT_EQ(message.strBody, "0123456789ab");
    EXPECT_EQ(message.strWhole, whole);
    EXPECT_EQ(pending, "next");
    pending = std::string("\x01\xFF\xFF\xFF", 4);
    EXPECT_EQ(CutTlsMessage(pending, message), TlsCut::Broken);
}

TEST(TlsMessages, AGreetingSaysWhichSuitesItOffers) {
    EXPECT_TRUE(Read(Hello(std::string("\xC0\x2F\x00\x9C", 4), "")).bOffersSuite);
    EXPECT_FALSE(Read(Hello(std::string("\xC0\x2F\x9C\x00", 4), "")).bOffersSuite);
    EXPECT_EQ(Read(Hello("", "")).strRandom, kRandom);
}

TEST(TlsMessages, RenegotiationIsNamedByASuiteOrAnExtension) {
    EXPECT_TRUE(Read(Hello(std::string("\x00\x9C\x00\xFF", 4), "")).bSecureRenegotiation);
    EXPECT_TRUE(
        Read(Hello("", Counted(std::string("\x00\x00\x00\x02hi\xFF\x01\x00\x01\x00", 11), 2))).bSecureRenegotiation);
    EXPECT_FALSE(Read(Hello(std::string("\x00\x9C", 2), Counted("", 2))).bSecureRenegotiation);
}

TEST(TlsMessages, GreetingsThatAreCutOrTooOldAreRefused) {
    TlsClientHello hello;
    const std::string whole = Hello(std::string("\x00\x9C", 2), Counted("", 2));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        // Without extensions it is a whole one too.
        EXPECT_EQ(ReadTlsClientHello(whole.substr(0, size), hello), size + 2 == whole.size()) << size;
    }
    EXPECT_FALSE(ReadTlsClientHello(Hello("", "", "\x03\x02"), hello));
    EXPECT_TRUE(ReadTlsClientHello(Hello("", "", "\x03\x04"), hello));
}

TEST(TlsMessages, TheServerAnswersWithThreeMessages) {
    TlsClientHello hello;
    hello.bSecureRenegotiation = true;
    std::string pending = TlsServerFlight(hello, kRandom, "certificate");
    TlsMessage message;
    ASSERT_EQ(CutTlsMessage(pending, message), TlsCut::Whole);
    EXPECT_EQ(message.type, TlsHandshake::ServerHello);
    EXPECT_EQ(message.strBody, "\x03\x03" + kRandom + std::string("\x00\x00\x9C\x00\x00\x05\xFF\x01\x00\x01\x00", 11));
    ASSERT_EQ(CutTlsMessage(pending, message), TlsCut::Whole);
    EXPECT_EQ(message.type, TlsHandshake::Certificate);
    EXPECT_EQ(message.strBody, Counted(Counted("certificate", 3), 3));
    ASSERT_EQ(CutTlsMessage(pending, message), TlsCut::Whole);
    EXPECT_EQ(message.type, TlsHandshake::ServerHelloDone);
    EXPECT_EQ(pending, "");
    const std::size_t longer = TlsServerFlight(hello, kRandom, "certificate").size();
    hello.bSecureRenegotiation = false;
    EXPECT_EQ(TlsServerFlight(hello, kRandom, "certificate").size() + 7, longer);
}

TEST(TlsMessages, TheSecretFillsItsMessage) {
    EXPECT_EQ(TlsSealedSecret(Counted("sealed", 2)), "sealed");
    EXPECT_EQ(TlsSealedSecret(Counted("sealed", 2) + "x"), "");
    EXPECT_EQ(TlsSealedSecret("\x01"), "");
}

}  // namespace
