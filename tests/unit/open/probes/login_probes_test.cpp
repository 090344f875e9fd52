// The probes against real processes, with a registry of the test's own.
#include "open/probes/login_probes.h"

#include <winternl.h>

#include <algorithm>
#include <ctime>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/late_library.h"
#include "open/probes/install_probes.h"
#include "tests/support/log_capture.h"
#include "tests/support/login_mark.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"

namespace {

const std::wstring kEntry = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\WeChatMiniProgram";
const std::wstring kWxCache = L"SOFTWARE\\OvrinSe\\MiniWxProgram\\WXSDK";
const std::wstring kYybCache = L"SOFTWARE\\OvrinSe\\MiniWxProgram\\YYBSDK";

// What a 32-bit program has on a 64-bit system, made of what a 64-bit program has.

LONG NTAPI Query(HANDLE process, int infoClass, void* block, ULONG size, ULONG* length) {
    using Function = LONG(NTAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    Function function = nullptr;
    EXPECT_TRUE(ResolveFunction(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess", function));
    return function(process, infoClass, block, size, length);
}

LONG NTAPI Read(HANDLE process, std::uint64_t address, void* target, std::uint64_t size, std::uint64_t* read) {
    SIZE_T got = 0;
    const BOOL bRead =
        ReadProcessMemory(process, reinterpret_cast<const void*>(address), target, static_cast<SIZE_T>(size), &got);
    *read = got;
    return bRead ? 0 : static_cast<LONG>(0xC0000005);
}

BOOL WINAPI Is64Bit(HANDLE, BOOL* bWow64) {
    *bWow64 = FALSE;
    return TRUE;
}

BOOL WINAPI Is32Bit(HANDLE, BOOL* bWow64) {
    *bWow64 = TRUE;
    return TRUE;
}

BOOL WINAPI IsUnknown(HANDLE, BOOL* bWow64) {
    *bWow64 = TRUE;
    return FALSE;
}

LONG NTAPI QueryShort(HANDLE process, int infoClass, void* block, ULONG size, ULONG* length) {
    const LONG status = Query(process, infoClass, block, size, length);
    *length = 40;
    return status;
}

LONG NTAPI QueryFails(HANDLE process, int infoClass, void* block, ULONG size, ULONG* length) {
    Query(process, infoClass, block, size, length);
    return static_cast<LONG>(0xC0000022);
}

LONG NTAPI ReadShort(HANDLE process, std::uint64_t address, void* target, std::uint64_t size, std::uint64_t* read) {
    const LONG status = Read(process, address, target, size, read);
    --*read;
    return status;
}

const ProcessMemoryApi kWholeApi = {&Query, &Read, &Is64Bit};

std::wstring CommandLineOf(HANDLE process, const ProcessMemoryApi& api) {
    std::wstring text;
    ReadProcessCommandLine(process, text, api);
    return text;
}

TEST(ReadProcessCommandLine, AProcesssOwnLineIsRead) {
    EXPECT_EQ(CommandLineOf(GetCurrentProcess(), kWholeApi), GetCommandLineW());
}

TEST(ReadProcessCommandLine, AnotherProcesssLineIsReadWhole) {
    const CTempFolder folder;
    const CStandInProcess process(folder.Path() / L"程序.exe", L"--type=renderer \"blank and 中文\"");
    const std::wstring line = CommandLineOf(process.Handle(), kWholeApi);
    EXPECT_TRUE(line.starts_with(L"\"" + (folder.Path() / L"程序.exe").wstring() + L"\""));
    EXPECT_TRUE(line.ends_with(L" --type=renderer \"blank and 中文\""));
}

TEST(ReadProcessCommandLine, ALineOfFourThousandNinetySixBytesCountsAsNone) {
    const CTempFolder folder;
    const CStandInProcess process(folder.Path() / L"long.exe", L"--type=renderer " + std::wstring(2048, L'x'));
    EXPECT_EQ(CommandLineOf(process.Handle(), kWholeApi), L"");
}

TEST(ReadProcessCommandLine, WithoutAProcessThereIsNone) {
    std::wstring text = L"as it was";
    ReadProcessCommandLine(nullptr, text, kWholeApi);
    EXPECT_EQ(text, L"as it was");
}

TEST(ReadProcessCommandLine, WhatTheSystemLacksLeavesItEmpty) {
    const HANDLE self = GetCurrentProcess();
    EXPECT_EQ(CommandLineOf(self, {nullptr, &Read, &Is64Bit}), L"");
    EXPECT_EQ(CommandLineOf(self, {&Query, nullptr, &Is64Bit}), L"");
    EXPECT_EQ(CommandLineOf(self, {}), L"");
    // No function that could tell a 32-bit target: every target is taken for a 64-bit one.
    EXPECT_EQ(CommandLineOf(self, {&Query, &Read, nullptr}), GetCommandLineW());
    EXPECT_EQ(CommandLineOf(self, {&Query, &Read, &IsUnknown}), GetCommandLineW());
}

TEST(ReadProcessCommandLine, AnswersThatAreNotWholeLeaveItEmpty) {
    const HANDLE self = GetCurrentProcess();
    EXPECT_EQ(CommandLineOf(self, {&QueryShort, &Read, &Is64Bit}), L"");
    EXPECT_EQ(CommandLineOf(self, {&QueryFails, &Read, &Is64Bit}), L"");
    EXPECT_EQ(CommandLineOf(self, {&Query, &ReadShort, &Is64Bit}), L"");
}

TEST(ReadProcessCommandLine, AThirtyTwoBitTargetIsNotRead) {
    EXPECT_EQ(CommandLineOf(GetCurrentProcess(), {&Query, &Read, &Is32Bit}), L"");
}

TEST(ReadProcessCommandLine, ASixtyFourBitProgramHasNoSuchServices) {
    const ProcessMemoryApi& api = SystemProcessMemoryApi();
    EXPECT_EQ(api.NtWow64QueryInformationProcess64, nullptr);
    EXPECT_EQ(api.NtWow64ReadVirtualMemory64, nullptr);
    ASSERT_NE(api.IsWow64Process, nullptr);
    EXPECT_FALSE(Is32BitTarget(GetCurrentProcess(), api));
    EXPECT_EQ(CommandLineOf(GetCurrentProcess(), api), L"");
}

TEST(LoginCacheStore, APairIsWrittenAndRead) {
    const CPrivateRegistry registry;
    WriteWxLoginCache({1700000000, 1});
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kWxCache, L"lt"), 1700000000u);
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kWxCache, L"ls"), 1u);
    LoginCache cache;
    ReadWxLoginCache(cache);
    EXPECT_EQ(cache, (LoginCache{1700000000, 1}));
    // The two caches are apart.
    ReadYybLoginCache(cache);
    EXPECT_EQ(cache, LoginCache());
    WriteYybLoginCache({0xFFFFFFFF, 2});
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kYybCache, L"lt"), 0xFFFFFFFFu);
    ReadYybLoginCache(cache);
    EXPECT_EQ(cache, (LoginCache{0xFFFFFFFF, 2}));
    ReadWxLoginCache(cache);
    EXPECT_EQ(cache, (LoginCache{1700000000, 1}));
}

TEST(LoginCacheStore, WhatCannotBeReadIsZero) {
    const CPrivateRegistry registry;
    LoginCache cache = {7, 7};
    ReadWxLoginCache(cache);
    EXPECT_EQ(cache, LoginCache());
    const CRegistryValue state(HKEY_CURRENT_USER, kWxCache, L"ls", 0, REG_DWORD, {1, 0, 0, 0});
    const CRegistryValue time(HKEY_CURRENT_USER, kWxCache, L"lt", 0, REG_SZ, TextBytes(L"1700000000"));
    ReadWxLoginCache(cache);
    EXPECT_EQ(cache, (LoginCache{0, 1}));
}

// The application installed in a folder of its own.
class LoginProbesTest : public testing::Test {
  protected:
    LoginProbesTest()
        : m_entry(HKEY_LOCAL_MACHINE, kEntry, L"UninstallString", 0, REG_SZ,
                  TextBytes((m_folder.Path() / L"uninstall.exe").wstring())) {}

    std::filesystem::path Application() const { return m_folder.Path() / L"WeChatMiniProgram.exe"; }
    std::filesystem::path Runtime() const { return m_folder.Path() / L"sdk" / L"runtime" / L"WeChatAppEx.exe"; }

    // "run" and "login", as far as they are true.
    static std::string RunState(const ProcessMemoryApi& api = kWholeApi) {
        bool run = false;
        bool login = false;
        GetWxRunState(run, login, api);
        return std::string(run ? "run" : "") + (login ? " login" : "");
    }
    static LoginCache Cache() {
        LoginCache cache;
        ReadWxLoginCache(cache);
        return cache;
    }
    static std::uint32_t Now() { return static_cast<std::uint32_t>(std::time(nullptr)); }

    CPrivateRegistry m_registry;
    CTempFolder m_folder;
    CRegistryValue m_entry;
};

TEST_F(LoginProbesTest, WithoutProcessesNothingRuns) {
    EXPECT_EQ(RunState(), "");
}

TEST_F(LoginProbesTest, TheApplicationRunsUnderItsNameAnywhere) {
    const CStandInProcess application(m_folder.Path() / L"elsewhere" / L"wechatminiprogram.EXE");
    EXPECT_EQ(RunState(), "run");
}

TEST_F(LoginProbesTest, ARendererOfTheRuntimeIsALogin) {
    const CStandInProcess application(Application());
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState(), "run login");
}

TEST_F(LoginProbesTest, ThePathOfTheRuntimeIsComparedWithoutRegardToCase) {
    std::wstring upper = (m_folder.Path() / L"uninstall.exe").wstring();
    CharUpperW(upper.data());
    const CRegistryValue entry(HKEY_LOCAL_MACHINE, kEntry, L"UninstallString", 0, REG_SZ, TextBytes(upper));
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState(), " login");
}

TEST_F(LoginProbesTest, ARendererIsFoundAmongOtherProcessesOfTheRuntime) {
    const CStandInProcess application(Application());
    const CStandInProcess browser(Runtime());
    const CStandInProcess gpu(Runtime(), L"--type=gpu-process");
    EXPECT_EQ(RunState(), "run");
    const CStandInProcess renderer(Runtime(), L"--lang=zh --type=renderer --no-sandbox");
    EXPECT_EQ(RunState(), "run login");
}

TEST_F(LoginProbesTest, ARendererOfAnotherFolderIsNone) {
    const CStandInProcess runtime(Runtime());
    const CStandInProcess other(m_folder.Path() / L"other" / L"WeChatAppEx.exe", L"--type=renderer");
    EXPECT_EQ(RunState(), "");
}

TEST_F(LoginProbesTest, ARendererWithoutTheApplicationIsALoginThatDoesNotRun) {
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState(), " login");
}

TEST_F(LoginProbesTest, ARendererWithAVeryLongCommandLineIsNone) {
    const CStandInProcess runtime(Runtime(), L"--type=renderer " + std::wstring(2048, L'x'));
    EXPECT_EQ(RunState(), "");
}

TEST_F(LoginProbesTest, AThirtyTwoBitRendererIsSkipped) {
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState({&Query, &Read, &Is32Bit}), "");
}

TEST_F(LoginProbesTest, WithoutTheReadingServicesItRunsButHasNoLogin) {
    const CStandInProcess application(Application());
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState({nullptr, &Read, &Is64Bit}), "run");
    EXPECT_EQ(RunState({&Query, nullptr, &Is64Bit}), "run");
    EXPECT_EQ(RunState(SystemProcessMemoryApi()), "run");
}

// What was opened, in order: the process and the access asked for.
std::vector<std::pair<DWORD, DWORD>> g_opened;

HANDLE WINAPI RecordOpen(DWORD access, BOOL bInherit, DWORD id) {
    EXPECT_FALSE(bInherit);
    g_opened.emplace_back(id, access);
    return OpenProcess(access, bInherit, id);
}

TEST_F(LoginProbesTest, WhereNoCommandLineCanBeReadNoProcessIsOpened) {
    const CStandInProcess application(Application());
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    g_opened.clear();
    EXPECT_EQ(RunState({nullptr, &Read, &Is64Bit, &RecordOpen}), "run");
    EXPECT_EQ(RunState({&Query, nullptr, &Is64Bit, &RecordOpen}), "run");
    EXPECT_EQ(g_opened.size(), 0u);
}

TEST_F(LoginProbesTest, OnlyProcessesOfTheRuntimesNameAreOpenedAndOnlyTheRuntimeIsRead) {
    const CStandInProcess application(Application());
    const CStandInProcess beside(m_folder.Path() / L"sdk" / L"runtime" / L"WeChatAppEx2.exe", L"--type=renderer");
    const CStandInProcess other(m_folder.Path() / L"other" / L"WeChatAppEx.exe", L"--type=renderer");
    const CStandInProcess browser(m_folder.Path() / L"sdk" / L"runtime" / L"WECHATAPPEX.EXE");
    g_opened.clear();
    EXPECT_EQ(RunState({&Query, &Read, &Is64Bit, &RecordOpen}), "run");
    std::sort(g_opened.begin(), g_opened.end());
    std::vector<std::pair<DWORD, DWORD>> expected = {
        {other.Id(), 0x1000}, {browser.Id(), 0x1000}, {browser.Id(), 0x410}};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(g_opened, expected);
}

TEST_F(LoginProbesTest, AProcessThatMayNotBeOpenedIsNotALogin) {
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState({&Query, &Read, &Is64Bit, [](DWORD, BOOL, DWORD) -> HANDLE { return nullptr; }}), "");
    EXPECT_EQ(RunState({&Query, &Read, &Is64Bit,
                        [](DWORD access, BOOL bInherit, DWORD id) -> HANDLE {
                            return access == 0x1000 ? OpenProcess(access, bInherit, id) : nullptr;
                        }}),
              "");
}

TEST_F(LoginProbesTest, ARuntimeStartedByItsShortNameIsFound) {
    const std::filesystem::path folder = Runtime().parent_path();
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / L"stand_in.exe", Runtime());
    wchar_t shortName[MAX_PATH] = {};
    ASSERT_NE(GetShortPathNameW(Runtime().c_str(), shortName, MAX_PATH), 0u);
    ASSERT_NE(std::wstring(shortName).find(L'~'), std::wstring::npos) << "the volume keeps no short names";
    const CStandInProcess runtime(shortName, L"--type=renderer");
    EXPECT_EQ(RunState(), " login");
}

TEST_F(LoginProbesTest, AQuotedUninstallTextFindsNoLogin) {
    const CRegistryValue quoted(HKEY_LOCAL_MACHINE, kEntry, L"UninstallString", 0, REG_SZ,
                                TextBytes(L"\"" + (m_folder.Path() / L"uninstall.exe").wstring() + L"\""));
    const CStandInProcess application(Application());
    const CStandInProcess runtime(Runtime(), L"--type=renderer");
    EXPECT_EQ(RunState(), "run");
}

TEST_F(LoginProbesTest, AFreshMarkAnswersWithoutAProbe) {
    WriteWxLoginCache({5, 1});
    const CStandInProcess application(Application());
    for (const std::int64_t days : {0, 27}) {
        const CRegistryValue mark(HKEY_CURRENT_USER, kLoginMarkKey, kLoginMarkValue, 0, REG_BINARY,
                                  LoginMarkBytes(1, days * 86400));
        const LogCapture log;
        EXPECT_TRUE(CheckWxMiniProgramIntalled(kWholeApi));
        EXPECT_EQ(log.All(), "");
    }
    EXPECT_EQ(Cache(), (LoginCache{5, 1}));
}

TEST_F(LoginProbesTest, AMarkThatDoesNotCountLeadsToTheProbe) {
    std::vector<std::uint8_t> longer = LoginMarkBytes(1, 0);
    longer.push_back(0);
    std::vector<std::uint8_t> shorter = LoginMarkBytes(1, 0);
    shorter.pop_back();
    for (const std::vector<std::uint8_t>& bytes :
         {LoginMarkBytes(0, 0), LoginMarkBytes(1, 28 * 86400 + 60), LoginMarkBytes(1, -3600), longer, shorter}) {
        const CRegistryValue mark(HKEY_CURRENT_USER, kLoginMarkKey, kLoginMarkValue, 0, REG_BINARY, bytes);
        const LogCapture log;
        EXPECT_FALSE(CheckWxMiniProgramIntalled(kWholeApi));
        EXPECT_TRUE(log.Has("---CheckWxMiniProgramIntalled---- run [0], login [0]")) << log.All();
    }
}

TEST_F(LoginProbesTest, ASeenLoginIsRememberedAndStaysTrueWhenTheProcessesEnd) {
    {
        const CStandInProcess application(Application());
        const CStandInProcess runtime(Runtime(), L"--type=renderer");
        const std::uint32_t before = Now();
        EXPECT_TRUE(CheckWxMiniProgramIntalled(kWholeApi));
        EXPECT_EQ(Cache().ls, 1u);
        EXPECT_GE(Cache().lt, before);
        EXPECT_LE(Cache().lt, Now());
    }
    EXPECT_TRUE(CheckWxMiniProgramIntalled(kWholeApi));
}

TEST_F(LoginProbesTest, ARunningApplicationWithoutARendererClearsAYoungCache) {
    WriteWxLoginCache({Now() - 60, 1});
    const CStandInProcess application(Application());
    EXPECT_FALSE(CheckWxMiniProgramIntalled(kWholeApi));
    EXPECT_EQ(Cache(), LoginCache());
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kWxCache, L"ls"), 0u);
}

TEST_F(LoginProbesTest, WithoutAProcessTheCacheAnswersAndStays) {
    const LoginCache young = {Now() - 10 * 86400, 1};
    WriteWxLoginCache(young);
    EXPECT_TRUE(CheckWxMiniProgramIntalled(kWholeApi));
    EXPECT_EQ(Cache(), young);
    const LoginCache stale = {Now() - 2419201, 1};
    WriteWxLoginCache(stale);
    EXPECT_FALSE(CheckWxMiniProgramIntalled(kWholeApi));
    EXPECT_EQ(Cache(), stale);
}

TEST(LoginProbes, WithoutAnEntryTheCacheIsClearedAndNoProcessIsLookedAt) {
    const CPrivateRegistry registry;
    WriteWxLoginCache({static_cast<std::uint32_t>(std::time(nullptr)), 1});
    const LogCapture log;
    EXPECT_FALSE(CheckWxMiniProgramIntalled(kWholeApi));
    EXPECT_EQ(log.All(), "---CheckWxMiniProgramIntalled---- 未安装\n");
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kWxCache, L"lt"), 0u);
    EXPECT_EQ(ReadNumber(HKEY_CURRENT_USER, kWxCache, L"ls"), 0u);
}

}  // namespace
