#include "tooling/decrypt.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/envelope/rsa_envelope.h"

namespace {

std::string TestFile(const std::string& name) {
    std::ifstream file(std::string(NEXLET_TEST_DATA) + "/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

const std::string& DevelopmentKey() {
    static const std::string key = TestFile("development_envelope_private.pem");
    return key;
}

std::string Opened(const std::string& envelope, const std::string& key = DevelopmentKey()) {
    std::string text = "not touched";
    std::string complaint;
    if (!DecryptEnvelope(envelope, key, text, complaint)) {
        EXPECT_EQ(text, "");
        EXPECT_FALSE(complaint.empty());
        return "REFUSED: " + complaint;
    }
    EXPECT_EQ(complaint, "");
    return text;
}

std::string TextOf(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += static_cast<char>(i * 31 + size);  // zeros and bytes above 0x7F among them
    }
    return text;
}

TEST(DecryptEnvelope, OpensWhatWasSealedAroundEveryBlockEdge) {
    for (const std::size_t size : {1u, 2u, 116u, 117u, 118u, 233u, 234u, 235u, 351u, 1000u}) {
        EXPECT_EQ(Opened(RsaEncryptToString(TextOf(size))), TextOf(size)) << size;
    }
}

TEST(DecryptEnvelope, BlanksAroundTheEnvelopeDoNotMatter) {
    EXPECT_EQ(Opened(" \r\n" + RsaEncryptToString("text") + "\r\n\t"), "text");
}

TEST(DecryptEnvelope, TakesAKeyInBothForms) {
    const std::string envelope = RsaEncryptToString("text");
    EXPECT_EQ(Opened(envelope, TestFile("development_envelope_private_pkcs8.pem")), "text");
}

TEST(DecryptEnvelope, SaysWhichBlockIsDamaged) {
    std::string envelope = RsaEncryptToString(TextOf(300));
    envelope[172 + 3 + 20] = envelope[172 + 3 + 20] == 'A' ? 'B' : 'A';
    EXPECT_NE(Opened(envelope).find("REFUSED: Block 2 "), std::string::npos) << Opened(envelope);
}

TEST(DecryptEnvelope, RefusesWhatIsNoEnvelope) {
    const std::string block = RsaEncryptToString("text");
    const std::string first128 = "AAAA";
    EXPECT_EQ(Opened(""), "REFUSED: The envelope is empty.");
    EXPECT_EQ(Opened(" \n"), "REFUSED: The envelope is empty.");
    for (const std::string& bad :
         {std::string("hello"), block + "|&|", "|&|" + block, block + "|&||&|" + block, block.substr(1), block + "=",
          block.substr(0, 100) + "\r\n" + block.substr(100), std::string(171, '/') + "="}) {
        EXPECT_EQ(Opened(bad).substr(0, 9), "REFUSED: ") << bad;
    }
}

TEST(DecryptEnvelope, RefusesAKeyThatIsNone) {
    const std::string envelope = RsaEncryptToString("text");
    const std::string& key = DevelopmentKey();
    const std::size_t body = key.find("MII");
    ASSERT_NE(body, std::string::npos);
    for (const std::string& bad :
         {std::string(), TestFile("development_envelope_public.pem"), key.substr(0, key.find("-----END")),
          std::string(key).replace(body, 4, "AAAA"), std::string(key).erase(body + 40, 100)}) {
        EXPECT_EQ(Opened(envelope, bad).substr(0, 16), "REFUSED: The key") << bad;
    }
}

}  // namespace
