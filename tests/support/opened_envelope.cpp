#include "tests/support/opened_envelope.h"

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tooling/decrypt.h"

namespace {

std::string Unescaped(const std::string& escaped) {
    std::string text;
    for (std::size_t at = 0; at < escaped.size(); ++at) {
        if (escaped[at] == '%' && at + 2 < escaped.size()) {
            text += static_cast<char>(std::stoi(escaped.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            text += escaped[at] == '+' ? ' ' : escaped[at];
        }
    }
    return text;
}

}  // namespace

std::string OpenedEnvelope(const std::string& escaped) {
    std::ifstream file(std::string(NEXLET_TEST_DATA) + "/development_envelope_private.pem", std::ios::binary);
    const std::string key{std::istreambuf_iterator<char>(file), {}};
    std::string text;
    std::string complaint;
    EXPECT_TRUE(DecryptEnvelope(Unescaped(escaped), key, text, complaint)) << complaint << ": " << escaped;
    return complaint.empty() ? text : complaint;
}
