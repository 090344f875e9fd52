// Finding the certificate table of a Windows executable or library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// A file as bytes at offsets. Reads happen on the caller's thread.
class IByteSource {
  public:
    virtual ~IByteSource() = default;

    virtual std::uint64_t Size() = 0;

    // Fills bytes from offset on; false, whatever bytes then hold, when not all of them can be had.
    virtual bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) = 0;
};

// Bytes in memory, which outlive it.
class CMemorySource : public IByteSource {
  public:
    explicit CMemorySource(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::uint64_t Size() override { return m_bytes.size(); }
    bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override;

  private:
    std::span<const std::uint8_t> m_bytes;
};

// Reads the certificate table that the security data directory names (PE format, "The Attribute Certificate Table"),
// whole and unchanged. False when there is none, when a header or the table does not lie within the file, when the
// file is empty or has 4 GiB or more, or when there is too little memory.
//
// The PE signature is not looked at. Only machine 0x8664 has the wide layout: any other machine, ARM64 included, is
// read by the offsets of PE32.
bool ReadCertificateTable(IByteSource& source, std::vector<std::uint8_t>& table);
