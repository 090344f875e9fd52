#include "open/install_probes.h"

#include <gtest/gtest.h>

#include "tests/unit/open/open_fixtures.h"

namespace {

const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

class ReadRegStringTest : public testing::Test {
  protected:
    std::wstring Read(const wchar_t* name = L"value", REGSAM view = kRead32BitView) const {
        return ReadRegString(HKEY_CURRENT_USER, m_strKey.c_str(), name, view);
    }
    std::wstring m_strKey = L"Software\\" + UniqueName(L"nxl_open_test");
};

TEST_F(ReadRegStringTest, ATextIsReadWhole) {
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ, TextBytes(L"C:\\程序\\a.exe"));
    EXPECT_EQ(Read(), L"C:\\程序\\a.exe");
    EXPECT_EQ(Read(L"VALUE", kRead64BitView), L"C:\\程序\\a.exe");
}

TEST_F(ReadRegStringTest, WhatIsMissingIsEmpty) {
    EXPECT_EQ(Read(), L"");
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ, TextBytes(L"text"));
    EXPECT_EQ(Read(L"other"), L"");
    EXPECT_EQ(ReadRegString(nullptr, m_strKey.c_str(), L"value", kRead32BitView), L"");
}

TEST_F(ReadRegStringTest, ATextIsCutAtItsFirstZero) {
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ,
                               TextBytes(std::wstring(L"one\0two", 7)));
    EXPECT_EQ(Read(), L"one");
}

TEST_F(ReadRegStringTest, ATextWithoutATerminatorIsReadWhole) {
    std::vector<std::uint8_t> bytes = TextBytes(L"text");
    bytes.resize(8);
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ, bytes);
    EXPECT_EQ(Read(), L"text");
}

TEST_F(ReadRegStringTest, AnEmptyValueIsEmpty) {
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ, {});
    EXPECT_EQ(Read(), L"");
}

TEST_F(ReadRegStringTest, TheTypeIsNotLookedAt) {
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_BINARY, TextBytes(L"bin"));
    EXPECT_EQ(Read(), L"bin");
    const CRegistryValue expandable(HKEY_CURRENT_USER, m_strKey, L"expand", 0, REG_EXPAND_SZ, TextBytes(L"%TEMP%"));
    EXPECT_EQ(Read(L"expand"), L"%TEMP%");
}

TEST_F(ReadRegStringTest, ALongTextIsReadWhole) {
    const std::wstring text(40000, L'x');
    const CRegistryValue value(HKEY_CURRENT_USER, m_strKey, L"value", 0, REG_SZ, TextBytes(text));
    EXPECT_EQ(Read(), text);
}

TEST_F(ReadRegStringTest, TheTwoViewsOfTheMachineDiffer) {
    const CRegistryValue in32(HKEY_LOCAL_MACHINE, m_strKey, L"value", KEY_WOW64_32KEY, REG_SZ, TextBytes(L"32"));
    const CRegistryValue in64(HKEY_LOCAL_MACHINE, m_strKey, L"value", KEY_WOW64_64KEY, REG_SZ, TextBytes(L"64"));
    EXPECT_EQ(ReadRegString(HKEY_LOCAL_MACHINE, m_strKey.c_str(), L"value", kRead32BitView), L"32");
    EXPECT_EQ(ReadRegString(HKEY_LOCAL_MACHINE, m_strKey.c_str(), L"value", kRead64BitView), L"64");
}

// The uninstall entries are the machine's own, so these tests run one at a time.

TEST(IsWxMiniProgramInstalled, WithoutAnEntryItIsNot) {
    EXPECT_FALSE(IsWxMiniProgramInstalled());
}

TEST(IsWxMiniProgramInstalled, EitherValueInEitherViewIsEnough) {
    for (const wchar_t* name : {L"UninstallString", L"DisplayIcon"}) {
        for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
            const CRegistryValue value(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", name,
                                       static_cast<REGSAM>(view), REG_SZ, TextBytes(L"C:\\x\\uninstall.exe"));
            EXPECT_TRUE(IsWxMiniProgramInstalled()) << name << " " << view;
        }
    }
    EXPECT_FALSE(IsWxMiniProgramInstalled());
}

TEST(IsWxMiniProgramInstalled, AnEmptyTextOrAnotherValueDoesNotCount) {
    const CRegistryValue empty(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", L"UninstallString",
                               KEY_WOW64_32KEY, REG_SZ, TextBytes(L""));
    const CRegistryValue other(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", L"DisplayName", KEY_WOW64_32KEY,
                               REG_SZ, TextBytes(L"WeChat"));
    EXPECT_FALSE(IsWxMiniProgramInstalled());
}

TEST(IsWxMiniProgramInstalled, TheClientsEntryDoesNotCount) {
    const CRegistryValue client(HKEY_LOCAL_MACHINE, kUninstall + L"WeChat", L"UninstallString", KEY_WOW64_32KEY, REG_SZ,
                                TextBytes(L"C:\\x\\uninstall.exe"));
    EXPECT_FALSE(IsWxMiniProgramInstalled());
}

}  // namespace
