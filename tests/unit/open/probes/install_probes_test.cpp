#include "open/probes/install_probes.h"

#include <gtest/gtest.h>

#include "tests/support/private_registry.h"
#include "tests/support/unique_name.h"

namespace {

const std::wstring kUninstall = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

class ReadRegStringTest : public testing::Test {
  protected:
    std::wstring Read(const wchar_t* name = L"value", REGSAM view = kRead32BitView) const {
        return ReadRegString(HKEY_CURRENT_USER, m_strKey.c_str(), name, view);
    }
    std::wstring m_strKey = L"Software\\" + UniqueName(L"nexlet_test");
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

// Which entry counts is tested in a registry of the test's own, where the views are one.
class InstallProbesTest : public testing::Test {
  protected:
    InstallProbesTest() { g_nWeChatKind = 0; }
    ~InstallProbesTest() override { g_nWeChatKind = 0; }

    static CRegistryValue Entry(const wchar_t* product, const wchar_t* name, const std::wstring& text,
                                REGSAM view = 0) {
        return CRegistryValue(HKEY_LOCAL_MACHINE, kUninstall + product, name, view, REG_SZ, TextBytes(text));
    }
    // Miniprogram, client and host, each "1" or "0".
    static std::string Installed() {
        return std::string(IsWxMiniProgramInstalled() ? "1" : "0") + (IsWeChatInstalled() ? "1" : "0") +
               (IsAndrowsInstalled() ? "1" : "0");
    }

    CPrivateRegistry m_registry;
};

TEST_F(InstallProbesTest, WithoutEntriesNothingIsInstalled) {
    EXPECT_EQ(Installed(), "000");
    EXPECT_EQ(g_nWeChatKind, 0);
}

TEST_F(InstallProbesTest, TheMiniProgramsEntryCountsForItAlone) {
    const CRegistryValue entry = Entry(L"WeChatMiniProgram", L"UninstallString", L"C:\\x\\u.exe");
    EXPECT_EQ(Installed(), "100");
}

TEST_F(InstallProbesTest, TheClientsEntryCountsForItAlone) {
    const CRegistryValue entry = Entry(L"WeChat", L"UninstallString", L"C:\\x\\u.exe");
    EXPECT_EQ(Installed(), "010");
    EXPECT_EQ(g_nWeChatKind, kWeChatKind);
}

TEST_F(InstallProbesTest, TheClientsOtherNameAloneCounts) {
    const CRegistryValue entry = Entry(L"Weixin", L"UninstallString", L"C:\\x\\u.exe");
    EXPECT_EQ(Installed(), "010");
    EXPECT_EQ(g_nWeChatKind, kWeixinKind);
}

TEST_F(InstallProbesTest, TheClientsFirstNameIsFoundBeforeItsOther) {
    const CRegistryValue other = Entry(L"Weixin", L"UninstallString", L"C:\\x\\u.exe");
    const CRegistryValue entry = Entry(L"WeChat", L"UninstallString", L"C:\\x\\u.exe");
    EXPECT_TRUE(IsWeChatInstalled());
    EXPECT_EQ(g_nWeChatKind, kWeChatKind);
}

TEST_F(InstallProbesTest, AClientThatWasRemovedKeepsItsKind) {
    {
        const CRegistryValue entry = Entry(L"Weixin", L"UninstallString", L"C:\\x\\u.exe");
        EXPECT_TRUE(IsWeChatInstalled());
    }
    EXPECT_FALSE(IsWeChatInstalled());
    EXPECT_EQ(g_nWeChatKind, kWeixinKind);
}

TEST_F(InstallProbesTest, TheHostsEntryCountsForItAlone) {
    const CRegistryValue entry = Entry(L"Androws", L"UninstallString", L"C:\\x\\u.exe");
    EXPECT_EQ(Installed(), "001");
}

TEST_F(InstallProbesTest, AnIconIsEnoughForMiniProgramAndHostButNotForTheClient) {
    const CRegistryValue miniProgram = Entry(L"WeChatMiniProgram", L"DisplayIcon", L"C:\\x\\u.exe");
    const CRegistryValue host = Entry(L"Androws", L"DisplayIcon", L"C:\\x\\u.exe");
    const CRegistryValue client = Entry(L"WeChat", L"DisplayIcon", L"C:\\x\\u.exe");
    const CRegistryValue other = Entry(L"Weixin", L"DisplayIcon", L"C:\\x\\u.exe");
    EXPECT_EQ(Installed(), "101");
}

TEST_F(InstallProbesTest, AnEmptyTextOrAnotherValueDoesNotCount) {
    const CRegistryValue empty = Entry(L"WeChatMiniProgram", L"UninstallString", L"");
    const CRegistryValue other = Entry(L"WeChatMiniProgram", L"DisplayName", L"name");
    const CRegistryValue client = Entry(L"WeChat", L"UninstallString", L"");
    EXPECT_EQ(Installed(), "000");
}

TEST_F(InstallProbesTest, TheInstallDirIsTheUninstallersFolder) {
    EXPECT_EQ(GetWxMiniProgramInstallDir(), L"");
    const CRegistryValue entry = Entry(L"WeChatMiniProgram", L"UninstallString", L"C:\\程序\\x\\uninstall.exe");
    EXPECT_EQ(GetWxMiniProgramInstallDir(), L"C:\\程序\\x");
}

TEST_F(InstallProbesTest, AnIconGivesNoInstallDir) {
    const CRegistryValue entry = Entry(L"WeChatMiniProgram", L"DisplayIcon", L"C:\\x\\u.exe");
    EXPECT_EQ(GetWxMiniProgramInstallDir(), L"");
}

// The views are the real machine's: entries that are there already are restored at the end.
class InstallViewsTest : public testing::TestWithParam<REGSAM> {};

TEST_P(InstallViewsTest, AnEntryInThisViewCounts) {
    for (const wchar_t* name : {L"UninstallString", L"DisplayIcon"}) {
        const CRegistryValue miniProgram(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", name, GetParam(),
                                         REG_SZ, TextBytes(L"C:\\x\\u.exe"));
        EXPECT_TRUE(IsWxMiniProgramInstalled());
        const CRegistryValue host(HKEY_LOCAL_MACHINE, kUninstall + L"Androws", name, GetParam(), REG_SZ,
                                  TextBytes(L"C:\\x\\u.exe"));
        EXPECT_TRUE(IsAndrowsInstalled());
    }
    for (const wchar_t* client : {L"WeChat", L"Weixin"}) {
        const CRegistryValue entry(HKEY_LOCAL_MACHINE, kUninstall + client, L"UninstallString", GetParam(), REG_SZ,
                                   TextBytes(L"C:\\x\\u.exe"));
        EXPECT_TRUE(IsWeChatInstalled());
    }
}

INSTANTIATE_TEST_SUITE_P(Views, InstallViewsTest,
                         testing::Values(static_cast<REGSAM>(KEY_WOW64_32KEY), static_cast<REGSAM>(KEY_WOW64_64KEY)),
                         [](const auto& row) { return row.param == KEY_WOW64_32KEY ? "In32Bit" : "In64Bit"; });

// Both views of the first name come before the second name.
TEST_P(InstallViewsTest, TheClientsFirstNameInEitherViewComesBeforeItsOther) {
    const REGSAM opposite = GetParam() == KEY_WOW64_32KEY ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
    const CRegistryValue first(HKEY_LOCAL_MACHINE, kUninstall + L"WeChat", L"UninstallString", GetParam(), REG_SZ,
                               TextBytes(L"C:\\x\\u.exe"));
    const CRegistryValue other(HKEY_LOCAL_MACHINE, kUninstall + L"Weixin", L"UninstallString", opposite, REG_SZ,
                               TextBytes(L"C:\\x\\u.exe"));
    g_nWeChatKind = 0;
    EXPECT_TRUE(IsWeChatInstalled());
    EXPECT_EQ(g_nWeChatKind, kWeChatKind);
    g_nWeChatKind = 0;
}

TEST(InstallViews, TheThirtyTwoBitViewIsReadFirst) {
    const CRegistryValue in64(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", L"UninstallString",
                              KEY_WOW64_64KEY, REG_SZ, TextBytes(L"C:\\in64\\u.exe"));
    {
        const CRegistryValue in32(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", L"UninstallString",
                                  KEY_WOW64_32KEY, REG_SZ, TextBytes(L"C:\\in32\\u.exe"));
        EXPECT_EQ(GetWxMiniProgramInstallDir(), L"C:\\in32");
    }
    EXPECT_EQ(GetWxMiniProgramInstallDir(), L"C:\\in64");
    const CRegistryValue empty(HKEY_LOCAL_MACHINE, kUninstall + L"WeChatMiniProgram", L"UninstallString",
                               KEY_WOW64_32KEY, REG_SZ, TextBytes(L""));
    EXPECT_EQ(GetWxMiniProgramInstallDir(), L"C:\\in64") << "an empty text is none";
}

}  // namespace
