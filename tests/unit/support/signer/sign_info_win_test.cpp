// The signer check by path: what the file system adds to sign_info_test.cpp.
#include "foundation/windows_headers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "support/signer/sign_info.h"
#include "tests/support/temp_folder.h"

namespace {

std::filesystem::path SignedFile(const char* name) {
    return std::filesystem::path(Utf8ToUtf16(NEXLET_SIGNED_FILES)) / name;
}

struct Info {
    std::int32_t code;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
};

Info Of(const std::filesystem::path& path) {
    Info info{99, "old", "old", "old"};
    info.code = GetSignInfo(path.wstring(), info.subject, info.thumbprint, info.issuer);
    return info;
}

class SignInfoFiles : public testing::Test {
  protected:
    CTempFolder m_temp;
    const std::filesystem::path m_folder = m_temp.Path();
};

TEST_F(SignInfoFiles, ASignedFileIsReadByItsPath) {
    const Info info = Of(SignedFile("chain.dll"));
    EXPECT_EQ(info.code, 0);
    EXPECT_EQ(info.subject, "Tencent Technology (Shenzhen) Company Limited");
    EXPECT_EQ(info.issuer, "Example Root");
    EXPECT_EQ(info.thumbprint.size(), 40u);
    EXPECT_TRUE(IsTrustedSigner(SignedFile("chain.dll").wstring()));
    EXPECT_FALSE(IsTrustedSigner(SignedFile("stranger.dll").wstring()));
    EXPECT_FALSE(IsTrustedSigner(SignedFile("unsigned.dll").wstring()));
}

TEST_F(SignInfoFiles, APathWithChineseCharactersIsFine) {
    const auto path = m_folder / L"签名.dll";
    std::filesystem::copy_file(SignedFile("pe32.exe"), path);
    EXPECT_TRUE(IsTrustedSigner(path.wstring()));
    std::vector<std::uint8_t> table;
    EXPECT_TRUE(ReadCertificateTable(path.wstring(), table));
    EXPECT_GT(table.size(), 8u);
}

TEST_F(SignInfoFiles, WhatCannotBeOpenedGivesMinus1AndEmptyTexts) {
    for (const auto& path : {m_folder / L"missing.dll", m_folder, std::filesystem::path()}) {
        const Info info = Of(path);
        EXPECT_EQ(info.code, -1) << path;
        EXPECT_EQ(info.subject + info.thumbprint + info.issuer, "");
        EXPECT_FALSE(IsTrustedSigner(path.wstring()));
    }
}

TEST_F(SignInfoFiles, AFileThatAnotherProgramWritesIsNotRead) {
    const auto path = m_folder / L"written.dll";
    std::filesystem::copy_file(SignedFile("chain.dll"), path);
    CFileHandle writer(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(writer);
    EXPECT_EQ(Of(path).code, -1);
    writer.reset();
    CFileHandle reader(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(reader);
    EXPECT_EQ(Of(path).code, 0);
}

TEST_F(SignInfoFiles, AnEmptyFileGivesMinus1) {
    const auto path = m_folder / L"empty.dll";
    CFileHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_EQ(Of(path).code, -1);
}

TEST_F(SignInfoFiles, TheFileIsClosedOnEveryPath) {
    const auto good = m_folder / L"good.dll";
    const auto bad = m_folder / L"bad.dll";
    std::filesystem::copy_file(SignedFile("chain.dll"), good);
    std::filesystem::copy_file(SignedFile("unsigned.dll"), bad);
    EXPECT_EQ(Of(good).code, 0);
    EXPECT_EQ(Of(bad).code, -1);
    // Open without any sharing: no other handle can be opened.
    for (const auto& path : {good, bad}) {
        EXPECT_TRUE(CFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)))
            << path;
    }
}

// Not every system signs its libraries inside the file; the signer, if any, is not the trusted company.
TEST_F(SignInfoFiles, SystemLibrariesAreReadAndNotTrusted) {
    wchar_t folder[MAX_PATH];
    ASSERT_GT(GetSystemDirectoryW(folder, MAX_PATH), 0u);
    for (const wchar_t* name : {L"ntdll.dll", L"kernel32.dll", L"user32.dll", L"wininet.dll", L"notepad.exe"}) {
        const auto path = std::filesystem::path(folder) / name;
        const Info info = Of(path);
        EXPECT_TRUE(info.code == 0 || info.code == -1) << path << ": " << info.code;
        EXPECT_FALSE(IsTrustedSigner(path.wstring())) << path;
    }
}

}  // namespace
