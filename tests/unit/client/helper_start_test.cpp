#include "client/helper_start.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"

namespace {

// What the helper's own reader makes of a switch of the line.
std::wstring ValueOf(const std::wstring& line, const wchar_t* key) {
    wchar_t value[600] = {};
    return GetCommandLineValue(line.c_str(), key, value, 600) == 1 ? value : L"(absent)";
}

HelperStart PlainStart() {
    HelperStart start;
    start.strExe = LR"(C:\a folder\nexlet.exe)";
    start.strMark = L"abc";
    start.strServiceId = "42";
    return start;
}

TEST(Base64Encode, WritesThePaddedFormsOfTheStandard) {
    EXPECT_EQ(Base64Encode(""), "");
    EXPECT_EQ(Base64Encode("f"), "Zg==");
    EXPECT_EQ(Base64Encode("fo"), "Zm8=");
    EXPECT_EQ(Base64Encode("foo"), "Zm9v");
    EXPECT_EQ(Base64Encode("foobar"), "Zm9vYmFy");
    EXPECT_EQ(Base64Encode("\xFF\xFE\xFD"), "//79");
}

TEST(Base64Encode, IsUndoneByTheHelpersDecoder) {
    std::string bytes;
    for (int i = 0; i < 256; ++i) {
        bytes += static_cast<char>(i);
        std::string back;
        Base64Decode(Base64Encode(bytes), back);
        ASSERT_EQ(back, bytes);
    }
}

TEST(HelperCommandLine, CarriesEverySwitchAsTheHelperReadsIt) {
    HelperStart start = PlainStart();
    start.strChannel = R"({"mid":"m"})";
    start.strType = L"6";
    start.strParam = "{}";
    std::wstring line;
    ASSERT_EQ(BuildHelperCommandLine(start, line), CallerResult::Ok);
    EXPECT_EQ(line.substr(0, 24), LR"("C:\a folder\nexlet.exe")");
    EXPECT_EQ(ValueOf(line, L"/from:"), L"abc");
    EXPECT_EQ(ValueOf(line, L"/service_id:"), L"42");
    EXPECT_EQ(ValueOf(line, L"/channel:"), L"eyJtaWQiOiJtIn0=");
    EXPECT_EQ(ValueOf(line, L"/type:"), L"6");
    EXPECT_EQ(ValueOf(line, L"/param:"), L"e30=");
}

TEST(HelperCommandLine, LeavesEmptySwitchesOut) {
    HelperStart start = PlainStart();
    start.strServiceId.clear();
    std::wstring line;
    ASSERT_EQ(BuildHelperCommandLine(start, line), CallerResult::Ok);
    for (const wchar_t* key : {L"/service_id:", L"/channel:", L"/type:", L"/param:"}) {
        EXPECT_EQ(ValueOf(line, key), L"(absent)");
    }
}

TEST(HelperCommandLine, QuotesAValueWithABlank) {
    HelperStart start = PlainStart();
    start.strServiceId = "a b \xE4\xB8\xAD";
    std::wstring line;
    ASSERT_EQ(BuildHelperCommandLine(start, line), CallerResult::Ok);
    EXPECT_EQ(ValueOf(line, L"/service_id:"), L"a b \u4E2D");
}

TEST(HelperCommandLine, RefusesWhatTheHelperWouldReadDifferently) {
    std::wstring line;
    for (const char* service : {"a\"b", "x/from:y"}) {
        HelperStart start = PlainStart();
        start.strServiceId = service;
        EXPECT_EQ(BuildHelperCommandLine(start, line), CallerResult::BadArgument) << service;
    }
    HelperStart start = PlainStart();
    start.strMark.assign(258, L'm');
    EXPECT_EQ(BuildHelperCommandLine(start, line), CallerResult::Ok);
    start.strMark.assign(259, L'm');
    EXPECT_EQ(BuildHelperCommandLine(start, line), CallerResult::BadArgument);
    start = PlainStart();
    start.strChannel.assign(388, 'x');
    EXPECT_EQ(BuildHelperCommandLine(start, line), CallerResult::BadArgument) << "a channel text of 520 characters";
    start = PlainStart();
    start.strExe.clear();
    EXPECT_EQ(BuildHelperCommandLine(start, line), CallerResult::BadArgument);
}

TEST(ChannelText, GivesTheChannelIdInTheFormTheMarkAsksFor) {
    EXPECT_EQ(MakeChannelText(L"abc", "m", 12, "p", "f"), R"({"channel_id":"12","from":"f","mid":"m","product":"p"})");
    EXPECT_EQ(MakeChannelText(L"xmlx", "m", 12, "p", "f"), R"({"channel_id":12,"from":"f","mid":"m","product":"p"})");
}

TEST(StartProgram, SaysWhyAProgramCannotBeStarted) {
    StartedProcess process;
    DWORD systemError = 0;
    EXPECT_EQ(StartProgram(LR"(C:\no such folder\x.exe)", LR"("C:\no such folder\x.exe")", process, systemError),
              CallerResult::NotStarted);
    EXPECT_NE(systemError, static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_FALSE(process.hProcess);
}

std::wstring Beside(const wchar_t* name) {
    std::wstring exe(MAX_PATH, L'\0');
    exe.resize(GetModuleFileNameW(nullptr, exe.data(), MAX_PATH));
    return exe.substr(0, exe.find_last_of(L'\\') + 1) + name;
}

TEST(StartProgram, InheritsNoHandle) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    const CKernelHandle event(CreateEventW(&inheritable, /*bManualReset=*/TRUE, FALSE, nullptr));
    ASSERT_TRUE(event);
    const std::wstring exe = Beside(L"set_event.exe");
    const std::wstring number = std::to_wstring(reinterpret_cast<std::uintptr_t>(event.get()));
    StartedProcess process;
    DWORD systemError = 0;
    ASSERT_EQ(StartProgram(exe, L"\"" + exe + L"\" " + number, process, systemError), CallerResult::Ok) << systemError;
    ASSERT_EQ(WaitForSingleObject(process.hProcess.get(), 20000), WAIT_OBJECT_0);
    // The number may be that of another handle there, which leaves this event alone.
    DWORD exitCode = 0;
    ASSERT_TRUE(GetExitCodeProcess(process.hProcess.get(), &exitCode));
    EXPECT_LT(exitCode, 2u) << "it has tried";
    EXPECT_EQ(WaitForSingleObject(event.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST(StartProgram, ShowsNoBusyPointer) {
    const std::wstring exe = Beside(L"startup_flags.exe");
    StartedProcess process;
    DWORD systemError = 0;
    ASSERT_EQ(StartProgram(exe, L"\"" + exe + L"\"", process, systemError), CallerResult::Ok) << systemError;
    ASSERT_EQ(WaitForSingleObject(process.hProcess.get(), 20000), WAIT_OBJECT_0);
    DWORD flags = 0;
    ASSERT_TRUE(GetExitCodeProcess(process.hProcess.get(), &flags));
    EXPECT_TRUE(flags & STARTF_FORCEOFFFEEDBACK) << flags;
}

}  // namespace
