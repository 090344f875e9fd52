#include "support/system/system_queries.h"

#include <sddl.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"
#include "tests/support/unique_name.h"

namespace {

// A library built with this file version, see CMakeLists.txt.
std::wstring Versioned(const wchar_t* version) {
    return (ProgramFolder() / L"versioned" / (std::wstring(version) + L".dll")).wstring();
}

TEST(IsFileVersionAtLeast, TheLeastVersionPasses) {
    EXPECT_TRUE(IsFileVersionAtLeast(Versioned(L"1.0.345.0")));
}

TEST(IsFileVersionAtLeast, AVersionBelowFails) {
    EXPECT_FALSE(IsFileVersionAtLeast(Versioned(L"1.0.344.9")));
    EXPECT_FALSE(IsFileVersionAtLeast(Versioned(L"0.65535.999.9")));
}

TEST(IsFileVersionAtLeast, AVersionAbovePasses) {
    EXPECT_TRUE(IsFileVersionAtLeast(Versioned(L"1.0.345.1")));
    EXPECT_TRUE(IsFileVersionAtLeast(Versioned(L"2.0.0.0")));
}

TEST(IsFileVersionAtLeast, AFileWithoutARecordFails) {
    EXPECT_FALSE(IsFileVersionAtLeast(Versioned(L"none")));
    EXPECT_FALSE(IsFileVersionAtLeast((WorldFolder() / L"broken" / L"ocean.dll").wstring()));
}

// Copies a library with a version record to the file and lets the record say another length of its own.
void CutRecord(const wchar_t* version, int length, const std::filesystem::path& file) {
    std::ifstream input(std::filesystem::path(Versioned(version)), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
    const std::u16string_view key = u"VS_VERSION_INFO";
    const std::size_t at = bytes.find(std::string_view(reinterpret_cast<const char*>(key.data()), key.size() * 2));
    ASSERT_NE(at, std::string::npos);
    ASSERT_EQ(bytes[at - 4], 52) << "wValueLength";
    bytes[at - 4] = static_cast<char>(length);
    std::ofstream(file, std::ios::binary) << bytes;
}

TEST(IsFileVersionAtLeast, ARecordNeedsNoMoreThanTheSixteenBytesUpToTheVersion) {
    const CTempFolder folder;
    const std::filesystem::path file = folder.Path() / L"cut.dll";
    for (const int length : {16, 17, 51, 52}) {
        ASSERT_NO_FATAL_FAILURE(CutRecord(L"1.0.345.0", length, file));
        EXPECT_TRUE(IsFileVersionAtLeast(file.wstring())) << length;
        ASSERT_NO_FATAL_FAILURE(CutRecord(L"1.0.344.9", length, file));
        EXPECT_FALSE(IsFileVersionAtLeast(file.wstring())) << length;
    }
    for (const int length : {0, 15}) {
        ASSERT_NO_FATAL_FAILURE(CutRecord(L"2.0.0.0", length, file));
        EXPECT_FALSE(IsFileVersionAtLeast(file.wstring())) << length;
    }
}

TEST(IsFileVersionAtLeast, AMissingFileFails) {
    EXPECT_FALSE(IsFileVersionAtLeast(Versioned(L"missing")));
    EXPECT_FALSE(IsFileVersionAtLeast(L""));
}

TEST(GetProcessImagePath, TheOwnPathIsGiven) {
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    EXPECT_EQ(GetProcessImagePath(GetCurrentProcessId()), own);
}

TEST(GetProcessImagePath, AnotherProcesssPathIsGiven) {
    const CTempFolder folder;
    const std::filesystem::path program = folder.Path() / L"程序" / L"other.exe";
    const CStandInProcess process(program);
    EXPECT_EQ(GetProcessImagePath(process.Id()), program.wstring());
}

TEST(GetProcessImagePath, AProcessThatCannotBeOpenedHasNone) {
    EXPECT_EQ(GetProcessImagePath(std::uint32_t{0}), L"");
    EXPECT_EQ(GetProcessImagePath(std::uint32_t{0xFFFFFFF0}), L"");
}

TEST(GetProcessImagePath, TheSecondQueryAnswersWhereTheFirstFails) {
    const CTempFolder folder;
    const std::filesystem::path program = folder.Path() / L"other.exe";
    const CStandInProcess started(program);
    // The right to limited information alone is not enough for the first query.
    const CKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, started.Id()));
    ASSERT_TRUE(process.valid());
    EXPECT_EQ(GetProcessImagePath(process.get()), program.wstring());
}

// Others may ask for limited information about the process and for nothing else.
void GrantLimitedInformationOnly(HANDLE process) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:(A;;0x1000;;;WD)", SDDL_REVISION_1,
                                                                     &descriptor, nullptr));
    EXPECT_TRUE(SetKernelObjectSecurity(process, DACL_SECURITY_INFORMATION, descriptor)) << GetLastError();
    LocalFree(descriptor);
}

TEST(GetProcessImagePath, AProcessThatGrantsLimitedInformationAloneHasAPath) {
    const CTempFolder folder;
    const std::filesystem::path program = folder.Path() / L"other.exe";
    const CStandInProcess started(program);
    ASSERT_NO_FATAL_FAILURE(GrantLimitedInformationOnly(started.Handle()));
    const CKernelHandle refused(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, started.Id()));
    ASSERT_FALSE(refused.valid());
    EXPECT_EQ(GetProcessImagePath(started.Id()), program.wstring());
}

TEST(GetProcessImagePath, WithoutAHandleThereIsNone) {
    EXPECT_EQ(GetProcessImagePath(HANDLE{nullptr}), L"");
}

TEST(FindProcessesByName, TwoProcessesOfOneNameGiveTwoIds) {
    const CTempFolder folder;
    const std::wstring name = UniqueName(L"Androws") + L".exe";
    const CStandInProcess first(folder.Path() / name);
    const CStandInProcess second(folder.Path() / L"other folder" / name);
    std::set<std::uint32_t> ids = {1, 2, 3};
    EXPECT_TRUE(FindProcessesByName(name, ids));
    EXPECT_EQ(ids, (std::set<std::uint32_t>{first.Id(), second.Id()}));
}

TEST(FindProcessesByName, TheCaseOfANameDoesNotMatter) {
    const CTempFolder folder;
    const std::wstring name = UniqueName(L"Androws") + L".exe";
    const CStandInProcess process(folder.Path() / name);
    std::wstring upper = name;
    CharUpperW(upper.data());
    std::set<std::uint32_t> ids;
    EXPECT_TRUE(FindProcessesByName(upper, ids));
    EXPECT_EQ(ids, std::set<std::uint32_t>{process.Id()});
}

TEST(FindProcessesByName, OnlyTheWholeNameCounts) {
    const CTempFolder folder;
    const std::wstring name = UniqueName(L"Androws");
    const std::filesystem::path program = folder.Path() / (name + L".exe");
    const CStandInProcess process(program);
    for (const std::wstring& other : {name, name + L".exe ", L"x" + name + L".exe", program.wstring()}) {
        std::set<std::uint32_t> ids = {1};
        EXPECT_FALSE(FindProcessesByName(other, ids));
        EXPECT_TRUE(ids.empty());
    }
}

TEST(FindProcessesByName, AnEmptyNameLeavesTheIds) {
    std::set<std::uint32_t> ids = {1, 2};
    EXPECT_FALSE(FindProcessesByName(L"", ids));
    EXPECT_EQ(ids.size(), 2u);
}

const wchar_t kNewKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
const wchar_t kOldKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion";

std::int32_t CodeOf(const std::wstring& currentVersion) {
    const CRegistryValue value(HKEY_LOCAL_MACHINE, kNewKey, L"CurrentVersion", 0, REG_SZ, TextBytes(currentVersion));
    return GetWindowsVersionCode();
}

TEST(GetWindowsVersionCode, TheCurrentVersionDecides) {
    const CPrivateRegistry registry;
    EXPECT_EQ(CodeOf(L"5.0"), 2);
    EXPECT_EQ(CodeOf(L"5.1"), 5);
    EXPECT_EQ(CodeOf(L"5.2"), 3);
    EXPECT_EQ(CodeOf(L"6.0"), 6);
    EXPECT_EQ(CodeOf(L"6.1"), 7);
    EXPECT_EQ(CodeOf(L"6.2"), 8);
    EXPECT_EQ(CodeOf(L"6.3"), 9);
    EXPECT_EQ(CodeOf(L"10.0"), 9);
    EXPECT_EQ(CodeOf(L"5.1 and more"), 5);
}

TEST(GetWindowsVersionCode, WithoutACurrentVersionTheVersionNumberIsAskedFor) {
    const CPrivateRegistry registry;
    const CRegistryValue number(HKEY_LOCAL_MACHINE, kOldKey, L"VersionNumber", 0, REG_SZ, TextBytes(L"4.10.1998"));
    EXPECT_EQ(GetWindowsVersionCode(), 1);
    // An empty text counts as none.
    EXPECT_EQ(CodeOf(L""), 1);
    // Any other decides alone.
    EXPECT_EQ(CodeOf(L"6.1"), 7);
}

TEST(GetWindowsVersionCode, WithNothingToReadItIsNine) {
    const CPrivateRegistry registry;
    EXPECT_EQ(GetWindowsVersionCode(), 9);
    const CRegistryValue empty(HKEY_LOCAL_MACHINE, kOldKey, L"VersionNumber", 0, REG_SZ, TextBytes(L""));
    EXPECT_EQ(GetWindowsVersionCode(), 9);
}

TEST(GetWindowsVersionCode, ATextBeyondTwoHundredFiftyNineBytesIsNotRead) {
    const CPrivateRegistry registry;
    const CRegistryValue number(HKEY_LOCAL_MACHINE, kOldKey, L"VersionNumber", 0, REG_SZ, TextBytes(L"4.10"));
    EXPECT_EQ(CodeOf(L"6.1" + std::wstring(125, L'x')), 7);
    EXPECT_EQ(CodeOf(L"6.1" + std::wstring(126, L'x')), 1);
}

TEST(GetWindowsVersionCode, TheRealMachineHasOne) {
    const std::int32_t code = GetWindowsVersionCode();
    EXPECT_TRUE(code >= 1 && code <= 9 && code != 4) << code;
}

}  // namespace
