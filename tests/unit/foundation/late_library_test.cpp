#include "foundation/late_library.h"

#include <objidl.h>

#include <gdiplus.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::wstring PathOf(HMODULE module) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(module, path, MAX_PATH);
    return path;
}

TEST(LateLibrary, IsLoadedFromTheSystemFolder) {
    wchar_t folder[MAX_PATH] = {};
    ASSERT_NE(GetSystemDirectoryW(folder, MAX_PATH), 0u);
    CLateLibrary library(L"version.dll");
    const HMODULE module = library.Load();
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(_wcsicmp(PathOf(module).c_str(), (std::wstring(folder) + L"\\version.dll").c_str()), 0);
    EXPECT_EQ(library.Load(), module);
}

TEST(LateLibrary, ThatTheSystemLacksIsAFailureWithItsReason) {
    CLateLibrary library(L"nexlet_nobody.dll");
    EXPECT_EQ(library.Load(), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

TEST(LateFunction, OfALibraryThatTheSystemLacksGivesItsFailureAtEveryCall) {
    CLateLibrary library(L"nexlet_nobody.dll");
    CLateFunction<decltype(&::CoInitialize)> function(library, "CoInitialize", kLateLibraryMissing);
    for (int call = 0; call < 2; ++call) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(function(nullptr), kLateLibraryMissing);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
    }
    CLateFunction<decltype(&::CoUninitialize)> nothing(library, "CoUninitialize", nullptr);
    nothing();
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), kLateLibraryMissing);
}

TEST(LateFunction, ThatItsLibraryLacksGivesItsFailureAtEveryCall) {
    CLateLibrary library(L"version.dll");
    CLateFunction<decltype(&::PathFileExistsW)> function(library, "PathFileExistsW", 17);
    for (int call = 0; call < 2; ++call) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(function(L"C:\\"), 17);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
    }
}

TEST(LateFunction, GivesWhatTheFunctionGives) {
    CLateLibrary library(L"shlwapi.dll");
    CLateFunction<decltype(&::PathFileExistsW)> function(library, "PathFileExistsW", 17);
    EXPECT_EQ(function(L"C:\\"), TRUE);
    EXPECT_EQ(function(L"C:\\nexlet nobody"), FALSE);
}

// The first call looks the function up before it calls it, and must hand on what came in floating-point registers.
TEST(LateFunction, AFloatingPointArgumentArrivesAtTheFirstCall) {
    CLateLibrary library(L"gdiplus.dll");
    const auto late = [&library](const char* name, auto declared) {
        return CLateFunction<decltype(declared)>(library, name, Gdiplus::GdiplusNotInitialized);
    };
    namespace Flat = Gdiplus::DllExports;
    CLateFunction<decltype(&Gdiplus::GdiplusStartup)> start(library, "GdiplusStartup", Gdiplus::GdiplusNotInitialized);
    CLateFunction<decltype(&Gdiplus::GdiplusShutdown)> shutdown(library, "GdiplusShutdown", nullptr);
    const Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    ASSERT_EQ(start(&token, &input, nullptr), Gdiplus::Ok);
    constexpr Gdiplus::ARGB kBlack = 0xFF000000;
    Gdiplus::GpPen* pen = nullptr;
    ASSERT_EQ(late("GdipCreatePen1", &Flat::GdipCreatePen1)(kBlack, 17.25F, Gdiplus::UnitPixel, &pen), Gdiplus::Ok);
    Gdiplus::REAL width = 0;
    EXPECT_EQ(late("GdipGetPenWidth", &Flat::GdipGetPenWidth)(pen, &width), Gdiplus::Ok);
    EXPECT_EQ(width, 17.25F);
    late("GdipDeletePen", &Flat::GdipDeletePen)(pen);
    shutdown(token);
}

TEST(LateFunction, ManyThreadsAtItsFirstCallAllSucceed) {
    constexpr int kThreads = 8;
    for (int round = 0; round < 50; ++round) {
        CLateLibrary library(L"shlwapi.dll");
        CLateFunction<decltype(&::PathFileExistsW)> function(library, "PathFileExistsW", 17);
        std::latch start(kThreads);
        std::vector<BOOL> results(kThreads);
        std::vector<std::thread> threads;
        for (BOOL& result : results) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                result = function(L"C:\\");
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(results, std::vector<BOOL>(kThreads, TRUE));
    }
}

}  // namespace
