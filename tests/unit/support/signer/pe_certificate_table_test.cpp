#include "support/signer/pe_certificate_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/unit/support/signer/pe_builder.h"

namespace {

using pe::Bytes;

const Bytes kTable = {9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3};

std::optional<Bytes> TableOf(const Bytes& file) {
    CMemorySource source(file);
    Bytes table = {0xEE};
    if (!ReadCertificateTable(source, table)) {
        EXPECT_TRUE(table.empty());
        return std::nullopt;
    }
    return table;
}

TEST(CertificateTable, IsReadFromPe32AndPe32PlusAlike) {
    EXPECT_EQ(TableOf(pe::Image(pe::kMachineX86, false, kTable)), kTable);
    EXPECT_EQ(TableOf(pe::Image(pe::kMachineX64, true, kTable)), kTable);
}

TEST(CertificateTable, AnArm64FileIsReadByTheOffsetsOfPe32) {
    EXPECT_EQ(TableOf(pe::Image(pe::kMachineArm64, true, kTable)), std::nullopt);
    EXPECT_EQ(TableOf(pe::Image(pe::kMachineArm64, false, kTable)), kTable);
}

TEST(CertificateTable, HeadersFarIntoTheFileAreFound) {
    for (const std::size_t ntHeader : {64u, 759u, 760u, 761u, 776u, 777u, 1000u, 1024u, 5000u}) {
        EXPECT_EQ(TableOf(pe::Image(pe::kMachineX64, true, kTable, ntHeader, ntHeader + 300)), kTable) << ntHeader;
        EXPECT_EQ(TableOf(pe::Image(pe::kMachineX86, false, kTable, ntHeader, ntHeader + 300)), kTable) << ntHeader;
    }
}

TEST(CertificateTable, HeadersMayOverlap) {
    Bytes file = pe::Image(pe::kMachineX64, true, kTable, 4);
    // The field that names the header is within it, which does not matter here.
    EXPECT_EQ(TableOf(file), kTable);
}

TEST(CertificateTable, AFileWithoutASecurityDirectoryHasNone) {
    for (const std::size_t field : {0u, 4u}) {
        Bytes file = pe::Image(pe::kMachineX64, true, kTable);
        pe::Store(file, pe::DirectoryAt(true) + field, 0, 4);
        EXPECT_EQ(TableOf(file), std::nullopt) << "field " << field;
    }
}

TEST(CertificateTable, WhatIsNotAnExecutableHasNone) {
    EXPECT_EQ(TableOf({}), std::nullopt);
    EXPECT_EQ(TableOf(Bytes(63, 'M')), std::nullopt);
    EXPECT_EQ(TableOf(Bytes(4096, 'M')), std::nullopt);
    Bytes file = pe::Image(pe::kMachineX64, true, kTable);
    file[0] = 'Z';
    EXPECT_EQ(TableOf(file), std::nullopt);
}

TEST(CertificateTable, ThePeSignatureIsNotLookedAt) {
    Bytes file = pe::Image(pe::kMachineX64, true, kTable);
    pe::Store(file, pe::kNtHeaderAt, 0, 4);
    EXPECT_EQ(TableOf(file), kTable);
}

TEST(CertificateTable, ATableBeyondTheFileIsRefused) {
    const Bytes whole = pe::Image(pe::kMachineX64, true, kTable);
    const std::size_t directory = pe::DirectoryAt(true);
    const struct {
        std::uint32_t offset;
        std::uint32_t size;
    } cases[] = {
        {pe::kTableAt, 14},
        {pe::kTableAt + 1, 13},
        {0xFFFFFFFF, 1},
        {0xFFFFFFFF, 0xFFFFFFFF},
        {1, 0xFFFFFFFF},
        {0xFFFFFFF0, 0x20},
        {0x80000000, 8},
        {pe::kTableAt, 0x80000000},
        {pe::kTableAt, 0xFFFFFE0D},
    };
    for (const auto& [offset, size] : cases) {
        Bytes file = whole;
        pe::Store(file, directory, offset, 4);
        pe::Store(file, directory + 4, size, 4);
        EXPECT_EQ(TableOf(file), std::nullopt) << offset << " + " << size;
    }
}

TEST(CertificateTable, AFileCutOffAnywhereIsRefused) {
    for (const bool bWide : {false, true}) {
        const Bytes file = pe::Image(bWide ? pe::kMachineX64 : pe::kMachineX86, bWide, kTable);
        for (std::size_t size = 0; size < file.size(); ++size) {
            ASSERT_EQ(TableOf(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size))), std::nullopt)
                << size;
        }
    }
}

TEST(CertificateTable, HeaderOffsetsBeyondTheFileAreRefused) {
    for (const std::uint32_t offset : {0x201u, 0x1000u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFF00u, 0xFFFFFFFFu}) {
        Bytes file = pe::Image(pe::kMachineX64, true, kTable);
        pe::Store(file, 60, offset, 4);
        EXPECT_EQ(TableOf(file), std::nullopt) << offset;
    }
}

// A file that says it has other sizes than it has, and one whose reads fail from some offset on.
class COddSource : public IByteSource {
  public:
    COddSource(const Bytes& file, std::uint64_t size, std::uint64_t readable)
        : m_file(file), m_nSize(size), m_nReadable(readable) {}
    std::uint64_t Size() override { return m_nSize; }
    bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
        ++m_nReads;
        return offset + bytes.size() <= m_nReadable && CMemorySource(m_file).ReadAt(offset, bytes);
    }
    int Reads() const { return m_nReads; }

  private:
    const Bytes& m_file;
    std::uint64_t m_nSize;
    std::uint64_t m_nReadable;
    int m_nReads = 0;
};

TEST(CertificateTable, FilesOfFourGibibytesAreRefused) {
    const Bytes file = pe::Image(pe::kMachineX64, true, kTable, pe::kNtHeaderAt, 2048);
    for (const std::uint64_t size : {0x100000000ull, 0x100000001ull, 0x7FFFFFFFFFFFFFFFull}) {
        COddSource source(file, size, file.size());
        Bytes table;
        EXPECT_FALSE(ReadCertificateTable(source, table)) << size;
    }
    COddSource source(file, 0xFFFFFFFF, file.size());
    Bytes table;
    EXPECT_TRUE(ReadCertificateTable(source, table));
    EXPECT_EQ(table, kTable);
}

TEST(CertificateTable, TakesOneReadForTheHeadersAndOneForTheTable) {
    const Bytes file = pe::Image(pe::kMachineX64, true, kTable, pe::kNtHeaderAt, 2048);
    COddSource source(file, file.size(), file.size());
    Bytes table;
    ASSERT_TRUE(ReadCertificateTable(source, table));
    EXPECT_EQ(source.Reads(), 2);
}

TEST(CertificateTable, AReadThatFailsIsAFailure) {
    const Bytes file = pe::Image(pe::kMachineX64, true, kTable, 1500, 2048);
    for (const std::uint64_t readable : {0u, 1000u, 1024u, 1600u, 2000u, 2050u}) {
        COddSource source(file, file.size(), readable);
        Bytes table;
        EXPECT_FALSE(ReadCertificateTable(source, table)) << readable;
        EXPECT_TRUE(table.empty());
    }
}

}  // namespace
