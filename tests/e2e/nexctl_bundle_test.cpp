// A bundle of a machine with a real helper on it. What is in the archive is stored as it is, so it is searched as
// bytes.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/e2e/nexctl_fixture.h"

namespace {

class NexctlBundle : public Nexctl {
  protected:
    // A helper whose log holds one secret of each kind.
    void StartWithSecrets() {
        m_caller = Serve(m_strService);
        HelperStart start = MakeStart();
        start.strChannel = MakeChannelText(m_strMark, "SECRETmid", 7, "product", "from");
        StartHelper(start);
        EXPECT_EQ(Open(R"({"type":"miniApp","appId":"SECRETapp","taskId":"SECRETtask","from":"SECRETfrom"})"),
                  "InitWxApi error");
        ExpectSilence(*m_caller, "SECRETpayload");
    }
    std::string Bundle(std::vector<std::string> arguments = {}) {
        const std::filesystem::path file = std::filesystem::path(m_sandbox.SdkPath()) / "help.zip";
        arguments.insert(arguments.begin(), {"bundle", "--out", Utf16ToUtf8(file.wstring())});
        m_run = Run(arguments);
        EXPECT_EQ(m_run.dwExitCode, 0u) << m_run.strErr;
        std::ifstream stream(file, std::ios::binary);
        std::stringstream bytes;
        bytes << stream.rdbuf();
        return bytes.str();
    }

    ConsoleRun m_run;
};

TEST_F(NexctlBundle, HoldsWhatHelpsAndNoContentsOfRequests) {
    StartWithSecrets();
    const std::string archive = Bundle();
    EXPECT_EQ(archive.substr(0, 2), "PK");
    const std::string log = "logs/Nexlet" + std::to_string(m_helper.Id()) + ".log";
    for (const std::string& name :
         {std::string("doctor.json"), std::string("doctor.txt"), std::string("files.json"), std::string("helpers.json"),
          std::string("pipes.json"), std::string("registry.json"), std::string("system.json"),
          std::string("contents.json"), log + ".txt", log + ".html"}) {
        EXPECT_NE(archive.find(name), std::string::npos) << name;
        EXPECT_TRUE(name == "contents.json" || m_run.strErr.find("took " + name) != std::string::npos) << m_run.strErr;
    }
    EXPECT_EQ(archive.find("SECRET"), std::string::npos) << archive.substr(archive.find("SECRET") - 200, 300);
    EXPECT_NE(archive.find("receive WM_COPY_DATA_MSG_IPC_GET_OPEN"), std::string::npos) << "the lines are there";
    EXPECT_NE(archive.find("InitWxApi error"), std::string::npos) << "with the result words";
    EXPECT_NE(archive.find("\"sha256\":\""), std::string::npos);
    EXPECT_NE(archive.find("sdk.missing"), std::string::npos) << "and with what the doctor finds";
    EXPECT_NE(m_run.strErr.find("left out "), std::string::npos) << "there is no SDK: " << m_run.strErr;
}

TEST_F(NexctlBundle, HoldsContentsWhenAskedTo) {
    StartWithSecrets();
    const std::string archive = Bundle({"--with-contents"});
    for (const char* secret : {"SECRETapp", "SECRETpayload"}) {
        EXPECT_NE(archive.find(secret), std::string::npos) << secret;
    }
    EXPECT_NE(m_run.strErr.find("are in it"), std::string::npos) << m_run.strErr;
}

TEST_F(NexctlBundle, HoldsNoNameOfAUserOfAPathUnlessAskedTo) {
    // Of a program that is not there the path is told in several files.
    const auto bundle = [&](std::vector<std::string> arguments) {
        const std::filesystem::path file = std::filesystem::path(m_sandbox.SdkPath()) / "help.zip";
        arguments.insert(arguments.begin(), {"bundle", "--out", Utf16ToUtf8(file.wstring()), "--mark", "nobody's",
                                             "--exe", R"(C:\Users\Jane SECRET\app\bin\nexlet.exe)"});
        EXPECT_EQ(RunPlain(arguments).dwExitCode, 0u);
        std::ifstream stream(file, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(stream), {}};
    };
    const std::string masked = bundle({});
    EXPECT_EQ(masked.find("SECRET"), std::string::npos);
    EXPECT_NE(masked.find(R"(C:\Users\***\app\bin\nexlet.exe)"), std::string::npos);
    EXPECT_NE(bundle({"--with-contents"}).find("Jane SECRET"), std::string::npos);
}

TEST_F(NexctlBundle, WithoutALogSaysThatNoneWasTaken) {
    Bundle();
    EXPECT_NE(m_run.strErr.find("left out logs: there is none of the mark"), std::string::npos) << m_run.strErr;
}

TEST_F(NexctlBundle, NeedsAFileThatCanBeWritten) {
    EXPECT_EQ(Run({"bundle"}).dwExitCode, 1u);
    EXPECT_EQ(Run({"bundle", "--out", "C:\\no such folder\\x.zip"}).dwExitCode, 2u);
}

TEST_F(NexctlBundle, BeaconsOfAnAccessLogAreCounted) {
    const std::filesystem::path file = std::filesystem::path(m_sandbox.SdkPath()) / "access.log";
    std::ofstream(file) << "x \"GET /static/a/1663.8991.gif?_referer=2?t=1&m=a HTTP/1.0\" 200\n";
    const std::string path = Utf16ToUtf8(file.wstring());
    const ConsoleRun run = RunPlain({"beacons", path});
    EXPECT_EQ(run.dwExitCode, 0u) << run.strErr;
    EXPECT_EQ(JsonLines(run.strOut).at(0)["items"][0]["outcomes"]["2 picture not fetched"].asInt(), 1) << run.strOut;
    EXPECT_NE(RunPlain({"beacons", path, "--text"}).strOut.find("2 picture not fetched: 1"), std::string::npos);
    EXPECT_EQ(RunPlain({"beacons", "C:\\no such file"}).dwExitCode, 1u);
}

}  // namespace
