// nexctl on a real console, whose window needs a screen.
#include <string>

#include <gtest/gtest.h>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "tests/support/sandbox.h"

namespace {

constexpr UINT kOldCodePage = 437;  // it has no Chinese letter
constexpr DWORD kLongMs = 60000;

// A console of this process with a screen of its own; the code page is one that cannot show every text.
class NexctlOnAConsole : public ::testing::Test {
  protected:
    void SetUp() override {
        FreeConsole();
        ASSERT_TRUE(AllocConsole()) << GetLastError();
        ASSERT_TRUE(SetConsoleOutputCP(kOldCodePage)) << GetLastError();
        ASSERT_TRUE(SetConsoleCP(kOldCodePage)) << GetLastError();
        SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
        m_screen.reset(CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                 &inherited, CONSOLE_TEXTMODE_BUFFER, nullptr));
        ASSERT_TRUE(m_screen.valid()) << GetLastError();
        m_input.reset(CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inherited, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(m_input.valid()) << GetLastError();
    }
    void TearDown() override {
        m_screen.reset();
        m_input.reset();
        FreeConsole();
    }

    // Runs nexctl on the console, and returns its exit code.
    DWORD Run(const std::wstring& arguments) {
        const std::wstring exe = OwnFolder() + L"\\nexctl.exe";
        std::wstring line = L"\"" + exe + L"\" " + arguments;
        STARTUPINFOW startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = m_input.get();
        startup.hStdOutput = startup.hStdError = m_screen.get();
        PROCESS_INFORMATION made = {};
        EXPECT_TRUE(
            CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &made))
            << GetLastError();
        const CKernelHandle process(made.hProcess);
        const CKernelHandle thread(made.hThread);
        if (WaitForSingleObject(process.get(), kLongMs) != WAIT_OBJECT_0) {
            ADD_FAILURE() << "nexctl does not end";
            TerminateProcess(process.get(), 99);
        }
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(process.get(), &code);
        return code;
    }

    // What a row of the screen shows, without the blanks at its end.
    std::string Row(SHORT number) const {
        CONSOLE_SCREEN_BUFFER_INFO info = {};
        GetConsoleScreenBufferInfo(m_screen.get(), &info);
        std::wstring row(static_cast<std::size_t>(info.dwSize.X), L'\0');
        DWORD read = 0;
        ReadConsoleOutputCharacterW(m_screen.get(), row.data(), static_cast<DWORD>(row.size()), COORD{0, number},
                                    &read);
        row.resize(read);
        row.erase(row.find_last_not_of(L' ') + 1);
        return Utf16ToUtf8(row);
    }

    // Types a text and the end of the input.
    void Type(const std::wstring& text) {
        for (const wchar_t c : text + L"\r\x1A\r") {
            INPUT_RECORD keys[2] = {};
            for (INPUT_RECORD& key : keys) {
                key.EventType = KEY_EVENT;
                key.Event.KeyEvent.bKeyDown = &key == keys;
                key.Event.KeyEvent.wRepeatCount = 1;
                key.Event.KeyEvent.uChar.UnicodeChar = c;
                key.Event.KeyEvent.wVirtualKeyCode = c == L'\r' ? VK_RETURN : 0;
            }
            DWORD written = 0;
            ASSERT_TRUE(WriteConsoleInputW(m_input.get(), keys, 2, &written)) << GetLastError();
        }
    }

    CFileHandle m_screen;
    CFileHandle m_input;
};

TEST_F(NexctlOnAConsole, ShowsEveryLetterAndLeavesTheCodePageAlone) {
    // "Ж" and a letter that takes two columns.
    EXPECT_EQ(Run(L"names --mark \x416\x4E2D"), 0u);
    EXPECT_NE(Row(0).find("Ж"), std::string::npos) << Row(0);
    EXPECT_NE(Row(0).find("中"), std::string::npos) << Row(0);
    EXPECT_EQ(GetConsoleOutputCP(), kOldCodePage);
    EXPECT_EQ(GetConsoleCP(), kOldCodePage);
}

TEST_F(NexctlOnAConsole, ShowsComplaintsLikeOutput) {
    EXPECT_EQ(Run(L"\x416"), 1u);
    EXPECT_NE(Row(0).find("\"Ж\""), std::string::npos) << Row(0);
}

TEST_F(NexctlOnAConsole, ReadsWhatIsTypedInEveryLetter) {
    Type(L"{\"a\":\"\x416\"}");
    EXPECT_EQ(Run(L"encode 2 -"), 0u);
    std::string shown;
    for (SHORT row = 0; row < 10; ++row) {
        shown += Row(row) + " ";
    }
    EXPECT_NE(shown.find("d0 96"), std::string::npos) << shown;
}

}  // namespace
