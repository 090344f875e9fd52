// The doctor beside faults of the machine: registry values, folders, the files of the YYB SDK.
#include <ctime>
#include <filesystem>
#include <fstream>

#include "ipc/transport/pipe_names.h"
#include "nexctl/doctor/facts.h"
#include "tests/e2e/doctor_fixture.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_yyb.h"

namespace {

namespace fs = std::filesystem;

constexpr wchar_t kHelperKey[] = L"Software\\Ovrin\\zolt";
const fs::path kLogFolder = LR"(C:\temp\zolt)";

std::vector<std::uint8_t> NumberBytes(std::uint32_t value) {
    std::vector<std::uint8_t> bytes(sizeof value);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = static_cast<std::uint8_t>(value >> 8 * at);
    }
    return bytes;
}

// What the daily configuration leaves, for the length of a test.
class CConfiguration {
  public:
    CConfiguration(std::uint32_t fetchedAt, std::uint32_t create)
        : m_time(HKEY_CURRENT_USER, kHelperKey, L"last_info_time", 0, REG_DWORD, NumberBytes(fetchedAt)),
          m_create(HKEY_CURRENT_USER, kHelperKey, L"app_shortcut_create", 0, REG_DWORD, NumberBytes(create)) {}

  private:
    CRegistryValue m_time;
    CRegistryValue m_create;
};

std::uint32_t Now() {
    return static_cast<std::uint32_t>(std::time(nullptr));
}

class DoctorOfMachine : public NexctlDoctor {
  protected:
    // "CODE SENTENCE" of every finding, one a line. On standard error the sentences are broken into lines.
    std::string Findings() {
        const Json::Value report = JsonLines(Run({"doctor"}).strOut).at(0);
        std::string all;
        for (const Json::Value& finding : report["findings"]) {
            all += finding["code"].asString() + " " + finding["what"].asString() + "\n";
        }
        return all;
    }
    void ExpectFinding(const std::string& part) {
        const std::string found = Findings();
        EXPECT_NE(found.find(part), std::string::npos) << part << "\nis not in\n" << found;
    }
};

TEST_F(DoctorOfMachine, NamesASwitchOfTheWrongKindAndTheHelperWritesNoLog) {
    const CRegistryValue text(HKEY_CURRENT_USER, kHelperKey, L"debug_log", 0, REG_SZ, TextBytes(L"1"));
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    EXPECT_TRUE(Log().Lines().empty());
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "log.value-type"));
    EXPECT_TRUE(Has(codes, "log.off"));
}

TEST_F(DoctorOfMachine, NamesAConfigurationThatForbidsShortcuts) {
    const CConfiguration configuration(Now(), 0);
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "config.no-shortcuts"));
    EXPECT_FALSE(Has(codes, "config.never"));
}

TEST_F(DoctorOfMachine, NamesATimeInTheFutureAsOne) {
    const CConfiguration configuration(Now() + 86400, 1);
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "config.future"));
    EXPECT_FALSE(Has(codes, "config.old"));
}

TEST_F(DoctorOfMachine, TellsHowOldAConfigurationIs) {
    const CConfiguration configuration(Now() - 9 * 86400, 1);
    ExpectFinding("is 9 days old");
}

TEST_F(DoctorOfMachine, SaysWhereTheConfigurationWasNeverFetchedFrom) {
    ExpectFinding(
        "config.never the remote configuration was never fetched from info.nexlet.invalid, so no desktop shortcut is "
        "made");
}

TEST_F(DoctorOfMachine, NamesALogFolderThatIsAFile) {
    // Logs of earlier tests wait beside it.
    const fs::path aside = kLogFolder.wstring() + L"-aside";
    std::error_code error;
    fs::rename(kLogFolder, aside, error);
    std::ofstream(kLogFolder) << "a file";
    EXPECT_EQ(Run({"start"}).dwExitCode, 0u);
    EXPECT_TRUE(Has(CodesOf(), "log.folder-is-file"));
    fs::remove(kLogFolder, error);
    fs::rename(aside, kLogFolder, error);
    EXPECT_FALSE(Has(CodesOf(), "log.folder-is-file"));
}

TEST_F(DoctorOfMachine, TellsALogThatEndsInTheMiddleOfALine) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    const fs::path log = kLogFolder / (L"Nexlet" + std::to_wstring(m_helper.Id()) + L".log");
    m_helper.Kill();
    EXPECT_EQ(Findings().find("in the middle of a line"), std::string::npos);
    fs::resize_file(log, fs::file_size(log) - 6);
    ExpectFinding("log.torn " + Utf16ToUtf8(log.wstring()) + " ends in ordinary work, in the middle of a line");
}

TEST_F(DoctorOfMachine, NamesASecondStartThatWasLost) {
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    SendToHost(MessageType::S_MT_GetWxAppStatus, ServiceContent("other"));
    CHelperProcess second;
    ASSERT_TRUE(second.Start(m_sandbox.Exe(), L"/from:" + m_strMark + L" /service_id:second"));
    EXPECT_EQ(second.WaitForEnd(kLongMs), 0u);
    LeaveHost();
    // Also while the helper that serves goes on writing its own log.
    const CHelperLog log = m_helper.Log();
    EXPECT_TRUE(log.WaitFor("enter WindowProc", kLongMs, log.FindAll("enter WindowProc").size() + 1));
    const auto codes = CodesOf();
    EXPECT_TRUE(Has(codes, "start.lost"));
    EXPECT_FALSE(Has(codes, "log.torn"));
}

TEST_F(DoctorOfMachine, NamesAServiceOfAnotherMarkWithTheSamePipe) {
    // The mark "M_b" and the service "c", and the mark "M" and the service "b_c".
    ASSERT_EQ(RunPlain({"start", "--exe", Utf16ToUtf8(m_sandbox.Exe()), "--mark", Utf16ToUtf8(m_strMark) + "_b",
                        "--service", "c"})
                  .dwExitCode,
              0u);
    EXPECT_TRUE(Has(CodesOf({"--service", "b_c"}), "names.shared"));
    EXPECT_FALSE(Has(CodesOf({"--service", "b_d"}), "names.shared"));
}

TEST_F(DoctorOfMachine, NamesFileVersionAndSignerOfAnSdkThatIsNotTaken) {
    CStandInYyb sdk(fs::path(m_sandbox.SdkPath()) / L"yybsdk");
    ASSERT_EQ(Run({"start"}).dwExitCode, 0u);
    EXPECT_EQ(Findings().find("yybsdk"), std::string::npos) << "all of it is good";
    const std::string folder = Utf16ToUtf8(m_sandbox.SdkPath()) + "\\yybsdk\\";
    const std::string library = folder + "pcyyb_sdk_dll.dll";
    sdk.Replace(L"pcyyb_sdk_dll.dll", "old");
    ExpectFinding("sdk.old " + library + " (version 1.0.344.9) is older than the helper needs, 1.0.345.0");
    sdk.Replace(L"pcyyb_sdk_dll.dll", "missing_export");
    ExpectFinding("sdk.export " + library + " (version 1.0.345.0) does not export LaunchApplet");
    sdk.Replace(L"pcyyb_sdk_dll.dll", "stranger");
    ExpectFinding("sdk.unsigned " + library +
                  " (version 1.0.345.0) names \"Somebody else\" as its signer, not the publisher");
    sdk.Replace(L"pcyyb_sdk_dll.dll", "good");
    sdk.Replace(L"qimei.dll", "unsigned");
    ExpectFinding("sdk.unsigned " + folder + "qimei.dll has no signer");
    sdk.Replace(L"qimei.dll", "");
    ExpectFinding("sdk.missing " + folder + "qimei.dll is missing");
}

TEST_F(DoctorOfMachine, TextForPeopleFitsInEightyColumns) {
    // Many findings at once.
    const CConfiguration configuration(Now() + 86400, 0);
    const CRegistryValue text(HKEY_CURRENT_USER, kHelperKey, L"debug_modle", 0, REG_SZ, TextBytes(L"1"));
    const CFileHandle squatter(CreateNamedPipeW(HostPipeName(m_strMark).c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                                /*nMaxInstances=*/1, 0, 0, 0, nullptr));
    const std::string told = Run({"doctor", "--service", m_strService}).strErr;
    int lines = 0;
    for (std::size_t at = 0; at < told.size(); ++lines) {
        const std::size_t end = told.find('\n', at);
        const std::string line = told.substr(at, end - at);
        const std::size_t word = line.find_first_not_of(' ');
        // A path that is longer than a line stays whole, alone on its line.
        EXPECT_TRUE(line.size() <= 80 || line.find(' ', word) == std::string::npos) << line;
        at = end + 1;
    }
    EXPECT_GT(lines, 12) << told;
}

}  // namespace
