// DecryptEnvelope on any key and any envelope: it opens the envelope and says nothing, or gives no text and says why.
//
// The input is an envelope, a NUL, and the text of a key. Without a NUL the key is the development key.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz_check.h"
#include "tooling/decrypt.h"

namespace {

// Each block is a power with a private exponent, so two of them are enough; the key may be as long as the input.
constexpr std::size_t kMostEnvelope = 400;

const std::string& DevelopmentKey() {
    static const std::string key = [] {
        std::ifstream file(NEXLET_TEST_DATA "/development_envelope_private.pem", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }();
    return key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = input.find('\0');
    const std::string key = end == std::string::npos ? DevelopmentKey() : input.substr(end + 1);
    std::string text = "not touched";
    std::string complaint;
    const bool opened = DecryptEnvelope(input.substr(0, std::min(end, kMostEnvelope)), key, text, complaint);
    FUZZ_CHECK(opened == complaint.empty());
    FUZZ_CHECK(opened || text.empty());
    return 0;
}
