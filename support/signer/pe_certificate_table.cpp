#include "support/signer/pe_certificate_table.h"

#include <algorithm>
#include <array>
#include <exception>
#include <optional>

#include "foundation/little_endian.h"

namespace {

constexpr std::uint64_t kDosHeaderBytes = 64;
constexpr std::size_t kDosMagicAt = 0;         // IMAGE_DOS_HEADER.e_magic
constexpr std::size_t kNtHeaderOffsetAt = 60;  // IMAGE_DOS_HEADER.e_lfanew
constexpr std::uint16_t kDosMagic = 0x5A4D;    // "MZ"

constexpr std::size_t kMachineAt = 4;  // IMAGE_NT_HEADERS.FileHeader.Machine
constexpr std::uint16_t kMachineX64 = 0x8664;

// IMAGE_NT_HEADERS32 and IMAGE_NT_HEADERS64: their size and the entry IMAGE_DIRECTORY_ENTRY_SECURITY.
constexpr std::uint64_t kNtHeader32Bytes = 248;
constexpr std::size_t kSecurityDirectory32At = 152;
constexpr std::uint64_t kNtHeader64Bytes = 264;
constexpr std::size_t kSecurityDirectory64At = 168;

// The headers of nearly every file lie within its first kilobyte, so one read serves all of them.
constexpr std::size_t kHeadBytes = 1024;

// A range of the file read ahead; further ranges are read when they are asked for.
class CHeaderReader {
  public:
    explicit CHeaderReader(IByteSource& source) : m_source(source), m_nSize(source.Size()) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(m_nSize, kHeadBytes));
        m_nHead = m_source.ReadAt(0, {m_head.data(), count}) ? count : 0;
    }

    // Makes the range readable; false when it does not lie within the file.
    bool Load(std::uint64_t offset, std::uint64_t count) {
        if (offset > m_nSize || count > m_nSize - offset || count > m_head.size()) {
            return false;
        }
        if (offset >= m_nOffset && offset + count <= m_nOffset + m_nHead) {
            return true;
        }
        m_nOffset = offset;
        m_nHead = m_source.ReadAt(offset, {m_head.data(), static_cast<std::size_t>(count)})
                      ? static_cast<std::size_t>(count)
                      : 0;
        return m_nHead == count;
    }

    // The little-endian number of `width` bytes at an offset within what was loaded.
    std::uint32_t Little(std::uint64_t offset, std::size_t width) const {
        return LittleEndian<std::uint32_t>(m_head.data() + static_cast<std::size_t>(offset - m_nOffset), width);
    }

  private:
    IByteSource& m_source;
    std::uint64_t m_nSize;
    std::uint64_t m_nOffset = 0;
    std::size_t m_nHead = 0;
    std::array<std::uint8_t, kHeadBytes> m_head;
};

}  // namespace

bool CMemorySource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) {
    if (offset > m_bytes.size() || bytes.size() > m_bytes.size() - offset) {
        return false;
    }
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(), bytes.begin());
    return true;
}

bool ReadCertificateTable(IByteSource& source, std::vector<std::uint8_t>& table) {
    table.clear();
    const std::uint64_t size = source.Size();
    if (size == 0 || size > 0xFFFFFFFF) {
        return false;
    }
    CHeaderReader headers(source);
    if (!headers.Load(0, kDosHeaderBytes) || headers.Little(kDosMagicAt, 2) != kDosMagic) {
        return false;
    }
    const std::uint64_t ntHeader = headers.Little(kNtHeaderOffsetAt, 4);
    if (!headers.Load(ntHeader, kNtHeader32Bytes)) {
        return false;
    }
    std::uint64_t directory = ntHeader + kSecurityDirectory32At;
    if (headers.Little(ntHeader + kMachineAt, 2) == kMachineX64) {
        if (!headers.Load(ntHeader, kNtHeader64Bytes)) {
            return false;
        }
        directory = ntHeader + kSecurityDirectory64At;
    }
    const std::uint64_t tableAt = headers.Little(directory, 4);
    const std::uint64_t tableBytes = headers.Little(directory + 4, 4);
    if (tableAt == 0 || tableBytes == 0 || tableAt > size || tableBytes > size - tableAt) {
        return false;
    }
    try {
        table.resize(static_cast<std::size_t>(tableBytes));
    } catch (const std::exception&) {  // too little memory, or more bytes than a vector can hold
        return false;
    }
    if (!source.ReadAt(tableAt, table)) {
        table.clear();
        return false;
    }
    return true;
}
