#include "ipc/transport/frame.h"

#include "foundation/little_endian.h"

void WriteFrameHeader(unsigned char* target, std::uint32_t nType, std::uint32_t nLength) {
    WriteLittleEndian(target, nType, 4);
    WriteLittleEndian(target + 4, nLength, 4);
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
