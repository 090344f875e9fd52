// A position in a range of bytes that it cannot leave: how the elements of a signature are read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

// Reads forward through bytes that outlive it. A read that does not fit gives nothing and moves nothing.
class CDerCursor {
  public:
    explicit CDerCursor(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::size_t Position() const { return m_nPosition; }
    std::size_t Remaining() const { return m_bytes.size() - m_nPosition; }

    std::optional<std::uint8_t> ReadByte() {
        if (Remaining() == 0) {
            return std::nullopt;
        }
        return m_bytes[m_nPosition++];
    }

    // A big-endian number of `width` bytes, 4 at most.
    std::optional<std::uint32_t> ReadBig(std::size_t width) {
        if (Remaining() < width) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value = value << 8 | m_bytes[m_nPosition++];
        }
        return value;
    }

    // The next `count` bytes, without moving.
    std::optional<std::span<const std::uint8_t>> Peek(std::size_t count) const {
        if (Remaining() < count) {
            return std::nullopt;
        }
        return m_bytes.subspan(m_nPosition, count);
    }

    // The next `count` bytes.
    std::optional<std::span<const std::uint8_t>> Take(std::size_t count) {
        const auto taken = Peek(count);
        if (taken) {
            m_nPosition += count;
        }
        return taken;
    }

    // The bytes from an earlier position up to here and `more` after it, none when that is not within the range.
    std::span<const std::uint8_t> From(std::size_t start, std::size_t more) const {
        if (start > m_nPosition || more > Remaining()) {
            return {};
        }
        return m_bytes.subspan(start, m_nPosition - start + more);
    }

  private:
    std::span<const std::uint8_t> m_bytes;
    std::size_t m_nPosition = 0;
};
