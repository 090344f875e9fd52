#include <gtest/gtest.h>

#include "nexctl/bundle/zip_file.h"

namespace {

// The number of 16 bits at this place of the first header.
int Number(const std::string& archive, std::size_t at) {
    return static_cast<unsigned char>(archive[at]) | static_cast<unsigned char>(archive[at + 1]) << 8;
}

TEST(ZipFile, ChecksumIsThatOfTheStandard) {
    const std::string archive = BuildZip({{"a", "123456789"}});
    EXPECT_EQ(Number(archive, 14) | Number(archive, 16) << 16, static_cast<int>(0xCBF43926));
}

TEST(ZipFile, FileThatGetsSmallerIsDeflatedAndAnyOtherIsStored) {
    constexpr int kDeflated = 8;
    const std::string archive = BuildZip({{"a", std::string(1000, 'x')}});
    EXPECT_EQ(Number(archive, 8), kDeflated);
    EXPECT_LT(Number(archive, 18), 100) << "in the archive";
    EXPECT_EQ(Number(archive, 22), 1000) << "and of the file";
    EXPECT_LT(archive.size(), 300u);
    EXPECT_EQ(Number(BuildZip({{"a", "123456789"}}), 8), 0);
}

TEST(ZipFile, ArchiveHasEveryFileAndItsDirectoryAtTheEnd) {
    const std::string archive = BuildZip({{"a.txt", "first"}, {"folder/b.txt", std::string("\0\xFF", 2)}});
    EXPECT_EQ(archive.substr(0, 4), "PK\x03\x04");
    const std::string end = archive.substr(archive.size() - 22);
    EXPECT_EQ(end.substr(0, 4), "PK\x05\x06");
    EXPECT_EQ(end[10], 2) << "two files";
    const auto at = static_cast<std::size_t>(static_cast<unsigned char>(end[16])) |
                    static_cast<std::size_t>(static_cast<unsigned char>(end[17])) << 8;
    EXPECT_EQ(archive.substr(at, 4), std::string("PK\x01\x02", 4));
    EXPECT_NE(archive.find("folder/b.txt" + std::string("\0\xFF", 2)), std::string::npos);
}

TEST(ZipFile, ArchiveOfNothingIsItsEndRecord) {
    EXPECT_EQ(BuildZip({}).size(), 22u);
}

}  // namespace
