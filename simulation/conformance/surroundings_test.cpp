// The registry, libraries and paths.
#include "simulation/conformance/conformance.h"

#include "foundation/late_shlwapi.h"

namespace {

class Registry : public testing::Test {
  protected:
    ~Registry() override {
        RegDeleteKeyW(HKEY_CURRENT_USER, (strKey + L"\\Below").c_str());
        RegDeleteKeyW(HKEY_CURRENT_USER, strKey.c_str());
    }

    CRegistryKey Make() {
        HKEY hKey = nullptr;
        EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, strKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_READ | KEY_WRITE, nullptr, &hKey, nullptr),
                  ERROR_SUCCESS);
        return CRegistryKey(hKey);
    }
    static LSTATUS Set(const CRegistryKey& key, const wchar_t* szName, DWORD nType, const void* pData, DWORD nSize) {
        return RegSetValueExW(key.get(), szName, 0, nType, static_cast<const BYTE*>(pData), nSize);
    }

    const std::wstring strKey = FreshName(L"Software\\NexletConformance");
};

TEST_F(Registry, AKeyOrValueThatIsNotThereIsError2) {
    HKEY hKey = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, strKey.c_str(), 0, KEY_READ, &hKey), ERROR_FILE_NOT_FOUND);
    const CRegistryKey key = Make();
    DWORD nValue = 0;
    DWORD nSize = sizeof nValue;
    EXPECT_EQ(RegQueryValueExW(key.get(), L"none", nullptr, nullptr, reinterpret_cast<BYTE*>(&nValue), &nSize),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, strKey.c_str(), L"none", RRF_RT_ANY, nullptr, &nValue, &nSize),
              ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, AValueComesBackWithItsTypeAndSizeUnderAnyCase) {
    const CRegistryKey key = Make();
    const DWORD nSet = 7;
    EXPECT_EQ(Set(key, L"Number", REG_DWORD, &nSet, sizeof nSet), ERROR_SUCCESS);
    DWORD nType = 0;
    DWORD nValue = 0;
    DWORD nSize = sizeof nValue;
    EXPECT_EQ(RegQueryValueExW(key.get(), L"NUMBER", nullptr, &nType, reinterpret_cast<BYTE*>(&nValue), &nSize),
              ERROR_SUCCESS);
    EXPECT_EQ(nType, DWORD{REG_DWORD});
    EXPECT_EQ(nSize, 4u);
    EXPECT_EQ(nValue, 7u);
    nValue = 0;
    EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, strKey.c_str(), L"number", RRF_RT_ANY, nullptr, &nValue, &nSize),
              ERROR_SUCCESS);
    EXPECT_EQ(nValue, 7u);
}

TEST_F(Registry, AValueThatDoesNotFitIsError234WithItsSize) {
    const CRegistryKey key = Make();
    const wchar_t szText[] = L"a text";
    EXPECT_EQ(Set(key, L"Text", REG_SZ, szText, sizeof szText), ERROR_SUCCESS);
    DWORD nSize = 0;
    EXPECT_EQ(RegQueryValueExW(key.get(), L"Text", nullptr, nullptr, nullptr, &nSize), ERROR_SUCCESS);
    EXPECT_EQ(nSize, sizeof szText);
    wchar_t buffer[16] = {};
    nSize = 2;
    EXPECT_EQ(RegQueryValueExW(key.get(), L"Text", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &nSize),
              ERROR_MORE_DATA);
    EXPECT_EQ(nSize, sizeof szText);
    nSize = sizeof buffer;
    EXPECT_EQ(RegQueryValueExW(key.get(), L"Text", nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &nSize),
              ERROR_SUCCESS);
    EXPECT_STREQ(buffer, szText);
}

TEST_F(Registry, TheShellsFunctionsMakeTheKeysAndReadValues) {
    const DWORD nSet = 9;
    const std::wstring strBelow = strKey + L"\\Below";
    EXPECT_EQ(Late::SHSetValueW(HKEY_CURRENT_USER, strBelow.c_str(), L"Number", REG_DWORD, &nSet, sizeof nSet),
              ERROR_SUCCESS);
    DWORD nType = 0;
    DWORD nValue = 0;
    DWORD nSize = sizeof nValue;
    EXPECT_EQ(Late::SHGetValueW(HKEY_CURRENT_USER, strBelow.c_str(), L"Number", &nType, &nValue, &nSize),
              ERROR_SUCCESS);
    EXPECT_EQ(nValue, 9u);
    EXPECT_EQ(Late::SHGetValueW(HKEY_CURRENT_USER, strBelow.c_str(), L"none", &nType, &nValue, &nSize),
              ERROR_FILE_NOT_FOUND);
    HKEY hKey = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, strKey.c_str(), 0, KEY_READ, &hKey), ERROR_SUCCESS);
    const CRegistryKey key(hKey);
}

TEST(Modules, ALibraryThatIsNotThereIsError126AFunctionError127) {
    EXPECT_EQ(LoadLibraryW(L"nexlet_no_such_library.dll"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    wchar_t folder[MAX_PATH] = {};
    const UINT nLength = GetSystemDirectoryW(folder, MAX_PATH);
    EXPECT_EQ(std::wstring(folder).size(), nLength);
    const CModule module(
        LoadLibraryExW((std::wstring(folder) + L"\\shlwapi.dll").c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    ASSERT_TRUE(module);
    EXPECT_NE(GetProcAddress(module.get(), "PathAppendW"), nullptr);
    EXPECT_EQ(GetProcAddress(module.get(), "NexletNoSuchFunction"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
    EXPECT_EQ(GetModuleHandleW(L"SHLWAPI.dll"), module.get());
}

std::wstring Appended(const wchar_t* szPath, const wchar_t* szMore) {
    wchar_t buffer[MAX_PATH] = {};
    std::wstring(szPath).copy(buffer, MAX_PATH - 1);
    return Late::PathAppendW(buffer, szMore) ? buffer : L"(failed)";
}

std::wstring Canonical(const wchar_t* szPath) {
    wchar_t buffer[MAX_PATH] = {};
    return Late::PathCanonicalizeW(buffer, szPath) ? buffer : L"(failed)";
}

TEST(Paths, AreJoinedAndPutIntoOneForm) {
    EXPECT_EQ(Appended(L"C:\\a", L"b"), L"C:\\a\\b");
    EXPECT_EQ(Appended(L"C:\\a\\", L"b"), L"C:\\a\\b");
    EXPECT_EQ(Appended(L"C:\\a", L"D:\\b"), L"D:\\b");
    EXPECT_EQ(Appended(L"C:\\a\\b\\x.exe", L"..\\.."), L"C:\\a");
    EXPECT_EQ(Canonical(L"C:\\a\\.\\b\\..\\c"), L"C:\\a\\c");
    EXPECT_EQ(Canonical(L""), L"\\");
    EXPECT_EQ(Canonical(L"C:\\.."), L"C:\\");
}

TEST(Paths, APrefixEndsWithAComponentAndHasNoBackslash) {
    EXPECT_TRUE(Late::PathIsPrefixW(L"C:\\ab", L"c:\\AB\\c"));
    EXPECT_TRUE(Late::PathIsPrefixW(L"C:\\ab", L"C:\\ab"));
    EXPECT_FALSE(Late::PathIsPrefixW(L"C:\\ab", L"C:\\abc"));
    EXPECT_FALSE(Late::PathIsPrefixW(L"C:\\ab\\", L"C:\\ab\\c"));
    EXPECT_TRUE(Late::PathIsPrefixW(L"", L"C:\\ab"));
}

TEST(Paths, ABackslashAtTheEndGoesButADrivesStays) {
    wchar_t path[] = L"C:\\a\\";
    Late::PathRemoveBackslashW(path);
    EXPECT_STREQ(path, L"C:\\a");
    wchar_t drive[] = L"C:\\";
    Late::PathRemoveBackslashW(drive);
    EXPECT_STREQ(drive, L"C:\\");
}

TEST(Paths, WhatIsThereIsTold) {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    const std::wstring strFile = std::wstring(folder) + L"\\shlwapi.dll";
    EXPECT_TRUE(Late::PathFileExistsW(strFile.c_str()));
    EXPECT_FALSE(Late::PathFileExistsW((strFile + L"x").c_str()));
}

}  // namespace
