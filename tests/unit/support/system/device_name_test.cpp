#include "support/system/device_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DeviceName, EachDeviceIsOneInAnyCase) {
    for (const std::wstring name : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$", L"COM1", L"COM9", L"LPT1",
                                    L"LPT9", L"com5", L"Lpt7", L"nul", L"cOn"}) {
        EXPECT_TRUE(IsDevicePath(name)) << std::string(name.begin(), name.end());
        EXPECT_TRUE(IsDevicePath(L"C:\\folder\\" + name)) << std::string(name.begin(), name.end());
        EXPECT_TRUE(IsDevicePath(L"C:/folder/" + name)) << std::string(name.begin(), name.end());
    }
}

TEST(DeviceName, AnExtensionAStreamOrBlanksAfterItChangeNothing) {
    for (const wchar_t* name : {L"COM1.png", L"COM1.", L"COM1 ", L"COM1  ..", L"COM1 .png", L"AUX.tar.gz", L"NUL:",
                                L"NUL:stream", L"NUL :x.png", L"C:NUL", L"x\\C:COM3.ico"}) {
        EXPECT_TRUE(IsDevicePath(name)) << std::wstring(name).size();
    }
}

TEST(DeviceName, SuperscriptDigitsCountAsDigits) {
    for (const wchar_t digit : {L'\u00B9', L'\u00B2', L'\u00B3'}) {
        EXPECT_TRUE(IsDevicePath(std::wstring(L"COM") + digit));
        EXPECT_TRUE(IsDevicePath(std::wstring(L"lpt") + digit + L".png"));
    }
    EXPECT_FALSE(IsDevicePath(L"COM\u2074")) << "only those of Latin-1";
}

TEST(DeviceName, WhatOnlyLooksLikeADeviceIsAFile) {
    for (const wchar_t* name :
         {L"",      L"COM",  L"COM0",  L"LPT0",  L"COM10", L"COMA",   L"COM1x",          L"xCOM1",          L"NULL",
          L"CO",    L"AUX1", L"CONIN", L".COM1", L" COM1", L"a.COM1", L"COM1\\file.png", L"C:\\NUL\\a.png", L"folder\\",
          L"COM 1", L"C:",   L"图标"}) {
        EXPECT_FALSE(IsDevicePath(name)) << std::wstring(name).size();
    }
}

TEST(DeviceName, TheNameSpaceOfDevicesHasFilesOnDrivesOnly) {
    EXPECT_TRUE(IsDevicePath(L"\\\\.\\pipe\\name"));
    EXPECT_TRUE(IsDevicePath(L"//./pipe/name"));
    EXPECT_TRUE(IsDevicePath(L"\\\\?\\GLOBALROOT\\x"));
    EXPECT_TRUE(IsDevicePath(L"\\\\.\\C:"));
    EXPECT_FALSE(IsDevicePath(L"\\\\?\\C:\\folder\\file.png"));
    EXPECT_TRUE(IsDevicePath(L"\\\\?\\C:\\folder\\NUL.png"));
    EXPECT_FALSE(IsDevicePath(L"\\\\server\\share\\file.png"));
    EXPECT_FALSE(IsDevicePath(L"\\a\\.\\b"));
}

}  // namespace
