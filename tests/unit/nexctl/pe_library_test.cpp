#include "nexctl/doctor/pe_library.h"

#include <gtest/gtest.h>

namespace {

void Put(std::string& bytes, std::size_t at, std::uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[at + i] = static_cast<char>(value >> (8 * i) & 0xFF);
    }
}

// A library with one section, which holds a table of two names at the address 0x1000.
std::string Library(std::uint16_t machine = kMachineX64, bool wide = true) {
    std::string bytes(0x400, '\0');
    Put(bytes, 0, 0x5A4D, 2);
    Put(bytes, 0x3C, 0x80, 4);
    Put(bytes, 0x80, 0x4550, 4);
    Put(bytes, 0x84, machine, 2);
    Put(bytes, 0x86, 1, 2);                   // sections
    Put(bytes, 0x94, wide ? 0xF0 : 0xE0, 2);  // size of the optional header
    Put(bytes, 0x98, wide ? 0x20B : 0x10B, 2);
    Put(bytes, 0x98 + (wide ? 112 : 96), 0x1000, 4);
    const std::size_t section = 0x98 + (wide ? 0xF0 : 0xE0);
    Put(bytes, section + 8, 0x100, 4);
    Put(bytes, section + 12, 0x1000, 4);
    Put(bytes, section + 16, 0x100, 4);
    Put(bytes, section + 20, 0x300, 4);
    Put(bytes, 0x300 + 24, 2, 4);
    Put(bytes, 0x300 + 32, 0x1040, 4);
    Put(bytes, 0x340, 0x1050, 4);
    Put(bytes, 0x344, 0x1060, 4);
    bytes.replace(0x350, 5, "first");
    bytes.replace(0x360, 6, "second");
    return bytes;
}

TEST(PeLibrary, MachineAndExportsAreTold) {
    const PeLibrary library = ReadPeLibrary(Library());
    EXPECT_TRUE(library.bRead);
    EXPECT_EQ(library.nMachine, kMachineX64);
    EXPECT_EQ(library.exports, (std::vector<std::string>{"first", "second"}));
}

TEST(PeLibrary, LibraryFor32BitsIsReadByItsOwnLayout) {
    const PeLibrary library = ReadPeLibrary(Library(0x14C, false));
    EXPECT_TRUE(library.bRead);
    EXPECT_EQ(library.nMachine, 0x14C);
    EXPECT_EQ(library.exports.size(), 2u);
}

TEST(PeLibrary, LibraryMayExportNothing) {
    std::string bytes = Library();
    Put(bytes, 0x98 + 112, 0, 4);
    EXPECT_TRUE(ReadPeLibrary(bytes).bRead);
    EXPECT_TRUE(ReadPeLibrary(bytes).exports.empty());
}

TEST(PeLibrary, EveryCutIsNoticed) {
    const std::string bytes = Library();
    for (std::size_t size = 0; size < 0x367; ++size) {
        EXPECT_FALSE(ReadPeLibrary(std::string_view(bytes).substr(0, size)).bRead) << size;
    }
    EXPECT_FALSE(ReadPeLibrary("This is not a library.\n").bRead);
}

TEST(PeLibrary, TableOutsideTheSectionsIsBroken) {
    std::string bytes = Library();
    Put(bytes, 0x98 + 112, 0x9000, 4);
    EXPECT_FALSE(ReadPeLibrary(bytes).bRead);
    bytes = Library();
    Put(bytes, 0x300 + 24, 0xFFFFFFFF, 4);
    EXPECT_FALSE(ReadPeLibrary(bytes).bRead);
}

}  // namespace
