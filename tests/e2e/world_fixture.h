// Tests of nexlet-world: worlds in a directory of their own, and what the machine's registry says before and after.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"
#include "tests/support/registry_text.h"
#include "tests/support/unique_name.h"

#include <tlhelp32.h>

inline std::string ReadAll(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class CWorldTest : public CEndToEnd {
  protected:
    void SetUp() override {
        m_root = std::filesystem::path(LR"(C:\temp)") / UniqueName(L"nexlet_world");
        std::filesystem::create_directories(m_root);
        m_directory = m_root / "world";
        m_caller = Serve(m_strService);
    }
    void TearDown() override {
        CEndToEnd::TearDown();
        if (std::filesystem::exists(m_directory / ".nexlet-world")) {
            EXPECT_EQ(Down().dwExitCode, 0u);
        }
        std::error_code error;
        std::filesystem::remove_all(m_root, error);
        EXPECT_FALSE(std::filesystem::exists(m_root)) << error.message();
    }

    ConsoleRun Run(const std::vector<std::string>& arguments) const {
        return RunConsoleProgram(OwnFolder() + L"\\nexlet-world.exe", arguments);
    }
    std::string Utf8(const std::filesystem::path& path) const { return Utf16ToUtf8(path.wstring()); }
    ConsoleRun Up(const std::string& scenario) const {
        std::ofstream(m_root / "scenario", std::ios::binary) << scenario;
        return Run({"up", Utf8(m_root / "scenario"), Utf8(m_directory)});
    }
    ConsoleRun Down() const { return Run({"down", Utf8(m_directory)}); }

    static std::string Around(const std::string& text, std::size_t at) {
        return text.substr(at < 300 ? 0 : at - 300, 600);
    }

    // How many processes of this file name there are.
    static int CountOf(const std::wstring& name) {
        const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry = {};
        entry.dwSize = sizeof entry;
        int count = 0;
        for (BOOL more = Process32FirstW(snapshot.get(), &entry); more; more = Process32NextW(snapshot.get(), &entry)) {
            count += name == entry.szExeFile;
        }
        return count;
    }

    void StartHelperOfTheWorld() {
        HelperStart start;
        start.strExe = (m_directory / L"app\\bin\\nexlet.exe").wstring();
        start.strChannel = MakeChannelText(m_strMark, "mid", 7, "product", "from");
        ASSERT_EQ(m_caller->StartHelper(start), CallerResult::Ok) << m_caller->SystemError();
        ASSERT_TRUE(m_helper.Attach(m_caller->ProcessId()));
        ReceivedFrame notice;
        ASSERT_EQ(m_caller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice), CallerResult::Ok);
    }

    Json::Value StatusOfTheWorld() {
        return JsonOf(Ask(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue),
                          MessageType::S_MT_StatusReply)["result"]
                          .asString());
    }

    void ExpectNothingLeft(const std::string& before) {
        EXPECT_FALSE(std::filesystem::exists(m_directory));
        EXPECT_EQ(CountOf(L"WeChat.exe") + CountOf(L"monitor.exe") + CountOf(L"internet.exe"), 0);
        const std::string after = RegistryText();
        const auto [at, other] = std::ranges::mismatch(before, after);
        EXPECT_TRUE(before == after) << "the registry is another:\n"
                                     << Around(before, static_cast<std::size_t>(at - before.begin()))
                                     << "\nwas before, and now\n"
                                     << Around(after, static_cast<std::size_t>(other - after.begin()));
    }

    std::filesystem::path m_root;
    std::filesystem::path m_directory;
};
