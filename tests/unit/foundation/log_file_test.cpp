// The log's switches and its file, by a program that turns the log on for itself. These tests write the real switches
// and move the real folder, so they run in a Wine prefix of their own and one at a time.
#include "foundation/log_file.h"

#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "tests/support/log_capture.h"
#include "tests/support/unique_name.h"

namespace {

constexpr wchar_t kKey[] = L"Software\\Ovrin\\zolt";
constexpr wchar_t kParent[] = L"C:\\temp";
constexpr wchar_t kFolder[] = L"C:\\temp\\zolt";

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring LogPath(DWORD processId) {
    return std::wstring(kFolder) + L"\\Nexlet" + std::to_wstring(processId) + L".log";
}

std::string BytesOf(const std::wstring& path) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
    std::string bytes;
    char chunk[4096];
    DWORD got = 0;
    while (file.valid() && ReadFile(file.get(), chunk, sizeof(chunk), &got, nullptr) && got > 0) {
        bytes.append(chunk, got);
    }
    return bytes;
}

std::wstring AsText(const std::string& bytes) {
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

// What the child did: its id, its standard output, and its log file's bytes, which are then deleted.
struct ChildRun {
    DWORD processId = 0;
    std::string output;
    std::string file;
    bool fileExists = false;
    std::wstring program;
};

ChildRun RunChild(const std::wstring& arguments = L"") {
    ChildRun run;
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    run.program = std::wstring(own, wcsrchr(own, L'\\')) + L"\\foundation_log_child.exe";
    SECURITY_ATTRIBUTES inherit = {sizeof(inherit), nullptr, TRUE};
    HANDLE read = nullptr;
    HANDLE write = nullptr;
    EXPECT_TRUE(CreatePipe(&read, &write, &inherit, 0));
    const CKernelHandle reader(read);
    CKernelHandle writer(write);
    SetHandleInformation(reader.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start = {};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = writer.get();
    start.hStdError = writer.get();
    PROCESS_INFORMATION made = {};
    std::wstring line = L"\"" + run.program + L"\" " + arguments;
    if (!CreateProcessW(run.program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made)) {
        ADD_FAILURE() << "no child: error " << GetLastError();
        return run;
    }
    const CKernelHandle process(made.hProcess);
    const CKernelHandle thread(made.hThread);
    writer.reset();
    char chunk[4096];
    DWORD got = 0;
    while (ReadFile(reader.get(), chunk, sizeof(chunk), &got, nullptr) && got > 0) {
        run.output.append(chunk, got);
    }
    WaitForSingleObject(process.get(), INFINITE);
    run.processId = made.dwProcessId;
    const std::wstring path = LogPath(run.processId);
    run.fileExists = Exists(path);
    run.file = BytesOf(path);
    DeleteFileW(path.c_str());
    return run;
}

// Gives the two switches back, and C:\temp when a test moved it away, and removes what the child made.
class LogFile : public testing::Test {
  protected:
    void SetUp() override {
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"debug_modle");
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"debug_log");
        m_bHadParent = Exists(kParent);
        if (!m_bHadParent) {
            CreateDirectoryW(kParent, nullptr);
        }
    }
    void TearDown() override {
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"debug_modle");
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, L"debug_log");
        RemoveDirectoryW(kFolder);
        if (!m_strMoved.empty()) {
            EXPECT_TRUE(MoveFileW(m_strMoved.c_str(), kParent));
        } else if (!m_bHadParent) {
            RemoveDirectoryW(kParent);
        }
    }

    static void Set(const wchar_t* name, DWORD type, const void* data, DWORD size) {
        EXPECT_EQ(SHSetValueW(HKEY_CURRENT_USER, kKey, name, type, data, size), ERROR_SUCCESS);
    }
    static void Set(const wchar_t* name, DWORD value) { Set(name, REG_DWORD, &value, sizeof(value)); }
    void MoveParentAway() {
        m_strMoved = std::wstring(kParent) + L".moved";
        ASSERT_TRUE(MoveFileW(kParent, m_strMoved.c_str())) << GetLastError();
    }

  private:
    bool m_bHadParent = false;
    std::wstring m_strMoved;
};

bool IsOn(const ChildRun& run) {
    return run.output.find("flag 1") != std::string::npos;
}

TEST_F(LogFile, WithoutAValueThereIsNoFolderNoFileAndNoDebugOutput) {
    const bool hadFolder = Exists(kFolder);
    const ChildRun run = RunChild(L"line");
    EXPECT_EQ(run.output, "flag 0\r\n");
    EXPECT_FALSE(run.fileExists);
    EXPECT_EQ(Exists(kFolder), hadFolder);
}

TEST_F(LogFile, EitherValueEqualToOneTurnsItOnAlike) {
    for (const wchar_t* name : {L"debug_modle", L"debug_log"}) {
        Set(name, 1);
        const ChildRun run = RunChild();
        EXPECT_TRUE(IsOn(run)) << run.output;
        EXPECT_TRUE(run.fileExists);
        SHDeleteValueW(HKEY_CURRENT_USER, kKey, name);
    }
}

TEST_F(LogFile, AnyOtherNumberLeavesItOff) {
    for (const DWORD value : {0u, 2u, 0x01000001u, 0xFFFFFFFFu}) {
        Set(L"debug_log", value);
        Set(L"debug_modle", value);
        const ChildRun run = RunChild();
        EXPECT_FALSE(IsOn(run)) << value;
        EXPECT_FALSE(run.fileExists) << value;
    }
}

TEST_F(LogFile, OneOfTheValuesIsEnough) {
    Set(L"debug_modle", 2);
    Set(L"debug_log", 1);
    EXPECT_TRUE(IsOn(RunChild()));
    Set(L"debug_modle", 1);
    Set(L"debug_log", 0);
    EXPECT_TRUE(IsOn(RunChild()));
}

TEST_F(LogFile, TheTypeOfTheValueDoesNotMatter) {
    const DWORD one = 1;
    Set(L"debug_log", REG_BINARY, &one, sizeof(one));
    EXPECT_TRUE(IsOn(RunChild()));
}

TEST_F(LogFile, ValuesThatAreNotFourBytesOfOneLeaveItOff) {
    Set(L"debug_log", REG_SZ, L"1", 4);
    EXPECT_FALSE(IsOn(RunChild())) << "the character 1 is 0x31";
    const char shorter[] = {1};
    Set(L"debug_log", REG_BINARY, shorter, sizeof(shorter));
    EXPECT_FALSE(IsOn(RunChild())) << "one byte";
    const DWORD longer[] = {1, 0};
    Set(L"debug_log", REG_BINARY, longer, sizeof(longer));
    EXPECT_FALSE(IsOn(RunChild())) << "eight bytes";
}

TEST_F(LogFile, EachLineIsTimeTabTextAndLineEndInUtf16WithoutAMark) {
    Set(L"debug_log", 1);
    const ChildRun run = RunChild(L"first \"second line 中文\"");
    ASSERT_EQ(run.file.size() % 2, 0u);
    EXPECT_FALSE(run.file.starts_with("\xFF\xFE"));
    const std::wstring text = AsText(run.file);
    const std::wregex line(LR"((\d{1,2}:\d{1,2}:\d{1,2}:\d{1,3})\t([^\r\n]*)\r\n)");
    std::vector<std::wstring> lines;
    std::size_t characters = 0;
    for (std::wsregex_iterator at(text.begin(), text.end(), line); at != std::wsregex_iterator(); ++at) {
        lines.push_back((*at)[2]);
        characters += static_cast<std::size_t>(at->length());
        EXPECT_FALSE(std::regex_search((*at)[1].str(), std::wregex(LR"((^|:)0\d)"))) << "padded";
    }
    EXPECT_EQ(characters, text.size()) << Utf16ToUtf8(text);
    ASSERT_EQ(lines.size(), 4u) << Utf16ToUtf8(text);
    EXPECT_EQ(lines[0], L"start");
    EXPECT_EQ(lines[1], run.program);
    EXPECT_TRUE(std::regex_match(lines[2], std::wregex(LR"(\[wmain\(\d+\)\] first)"))) << Utf16ToUtf8(lines[2]);
    EXPECT_TRUE(lines[3].ends_with(L"] second line 中文")) << Utf16ToUtf8(lines[3]);
    // The debugger gets the same lines, though not everywhere as UTF-16.
    const std::string ascii = Utf16ToUtf8(text.substr(0, text.find(L'中')));
    const std::string output = std::regex_replace(run.output, std::regex("\r+\n"), "\r\n");
    EXPECT_TRUE(output.starts_with(ascii)) << output;
}

TEST_F(LogFile, WithoutTheParentFolderOnlyTheDebugOutputWorks) {
    MoveParentAway();
    Set(L"debug_log", 1);
    const ChildRun run = RunChild(L"line");
    EXPECT_TRUE(IsOn(run));
    EXPECT_NE(run.output.find("start"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("] line"), std::string::npos) << run.output;
    EXPECT_FALSE(Exists(kParent));
}

TEST_F(LogFile, AFileOfAReusedProcessIdIsContinuedAndReadersMayLookOn) {
    const std::wstring path = std::wstring(kParent) + L"\\" + UniqueName(L"log") + L".log";
    {
        const CFileHandle old(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
        DWORD written = 0;
        ASSERT_TRUE(WriteFile(old.get(), L"old\r\n", 10, &written, nullptr));
    }
    {
        const LogCapture on;
        Log log;
        log.Open(path.c_str());
        log.Write(L"new");
        const std::wstring text = AsText(BytesOf(path));
        EXPECT_TRUE(text.starts_with(L"old\r\n")) << Utf16ToUtf8(text);
        EXPECT_TRUE(text.ends_with(L"\tnew\r\n")) << Utf16ToUtf8(text);
        g_bDebugLog.store(0);
        log.Write(L"not written");
        EXPECT_EQ(AsText(BytesOf(path)), text);
    }
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(LogFile, AFileThatCannotBeOpenedIsNotAFailure) {
    const LogCapture on;
    Log log;
    log.Open(L"C:\\no such folder\\x.log");
    log.Write(L"goes to the debugger alone");
}

}  // namespace
