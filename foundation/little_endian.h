// Numbers whose lowest byte comes first, as files and pipes carry them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

static_assert(std::endian::native == std::endian::little, "every machine that the program is built for keeps them so");

// The number in the first width bytes, which must be there; width is at most the size of Number.
template <typename Number, typename Byte>
Number LittleEndian(const Byte* bytes, std::size_t width = sizeof(Number)) {
    static_assert(sizeof(Byte) == 1 && std::is_unsigned_v<Number>);
    Number value = 0;
    std::memcpy(&value, bytes, width);
    return value;
}

// Writes the lowest width bytes of value, at most eight, to target.
template <typename Byte>
void WriteLittleEndian(Byte* target, std::uint64_t value, std::size_t width) {
    static_assert(sizeof(Byte) == 1);
    std::memcpy(target, &value, width);
}

// Appends the lowest width bytes of value, at most eight, to a string or a vector of bytes.
template <typename Bytes>
void AppendLittleEndian(Bytes& bytes, std::uint64_t value, std::size_t width) {
    for (; width > 0; --width, value >>= 8) {
        bytes.push_back(static_cast<typename Bytes::value_type>(value & 0xFF));
    }
}
