// The frame of a pipe message: a word of type, a word of length, the payload. All integers are little-endian, and
// frames follow each other without gaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The first word of a frame that is delivered. Frames of any other type are skipped.
inline constexpr std::uint32_t PIPE_FRAME_MAGIC = 512;
inline constexpr std::size_t kFrameHeaderSize = 8;

// Writes the header of a frame with length bytes of payload to target, which has room for kFrameHeaderSize bytes.
void WriteFrameHeader(unsigned char* target, std::uint32_t nType, std::uint32_t nLength);

// One whole frame around payload, which is shorter than 4 GiB.
std::string BuildFrame(std::string_view payload, std::uint32_t nType = PIPE_FRAME_MAGIC);
