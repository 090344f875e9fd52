#include "ipc/transport/frame.h"

namespace {

void WriteWord(unsigned char* target, std::uint32_t nWord) {
    for (int i = 0; i < 4; ++i) {
        target[i] = static_cast<unsigned char>(nWord >> (8 * i));
    }
}

}  // namespace

void WriteFrameHeader(unsigned char* target, std::uint32_t nType, std::uint32_t nLength) {
    WriteWord(target, nType);
    WriteWord(target + 4, nLength);
}

std::string BuildFrame(std::string_view payload, std::uint32_t nType) {
    unsigned char header[kFrameHeaderSize];
    WriteFrameHeader(header, nType, static_cast<std::uint32_t>(payload.size()));
    std::string frame;
    frame.reserve(kFrameHeaderSize + payload.size());
    frame.append(reinterpret_cast<const char*>(header), kFrameHeaderSize);
    frame.append(payload);
    return frame;
}
