// Whatever the split, the cutter delivers exactly the frames that a reader of the whole stream sees.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/frame_cutter.h"

namespace {

using Deliveries = std::vector<std::pair<std::int32_t, std::string>>;

class CRecordingSink final : public IPipeConnectCallback {
  public:
    void Connected() override {}
    void Lost() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override {
        FUZZ_CHECK(length >= 0);
        FUZZ_CHECK(data[length] == 0);
        m_vecDeliveries.emplace_back(length, std::string(data, data + length));
        return 0;
    }
    Deliveries m_vecDeliveries;
};

std::uint64_t WordAt(const std::string& bytes, std::size_t at) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        word |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    }
    return word;
}

// The plain reading of the format, over the whole stream at once.
Deliveries Expected(const std::string& bytes) {
    Deliveries deliveries;
    std::size_t at = 0;
    while (bytes.size() - at >= kFrameHeaderSize) {
        const std::uint64_t nLength = WordAt(bytes, at + 4);
        if (nLength > bytes.size() - at - kFrameHeaderSize) {
            break;
        }
        if (WordAt(bytes, at) == PIPE_FRAME_MAGIC) {
            deliveries.emplace_back(static_cast<std::int32_t>(nLength), bytes.substr(at + kFrameHeaderSize, nLength));
        }
        at += kFrameHeaderSize + nLength;
    }
    return deliveries;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // The first byte says how many bytes give the sizes of the pieces, in turn; the rest is the stream.
    const std::size_t nPieces = std::min<std::size_t>(data[0] % 8, size - 1);
    const std::uint8_t* pieces = data + 1;
    const std::string bytes(pieces + nPieces, data + size);

    CFrameCutter cutter;
    CRecordingSink sink;
    std::size_t piece = 0;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t want = nPieces > 0 ? pieces[piece++ % nPieces] : bytes.size();
        const std::size_t n = std::min(std::max<std::size_t>(want, 1), bytes.size() - at);
        cutter.Append(bytes.data() + at, n);
        cutter.DispatchFrames(&sink);
        FUZZ_CHECK(!cutter.HasCompleteFrame());
        at += n;
        FUZZ_CHECK(cutter.Size() <= at);
    }
    FUZZ_CHECK(sink.m_vecDeliveries == Expected(bytes));
    return 0;
}
