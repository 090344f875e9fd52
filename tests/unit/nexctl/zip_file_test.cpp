#include <gtest/gtest.h>

#include "nexctl/bundle/zip_file.h"

namespace {

TEST(ZipFile, ChecksumIsThatOfTheStandard) {
    EXPECT_EQ(Crc32(""), 0u);
    EXPECT_EQ(Crc32("123456789"), 0xCBF43926u);
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
