// A bundle of a machine with a real helper on it.
#include <filesystem>
#include <fstream>

#include <zlib.h>

#include "tests/e2e/nexctl_fixture.h"

namespace {

// The names and the contents of an archive, one after the other.
std::string Unpacked(std::string archive) {
    constexpr std::size_t kHeader = 30;
    const auto number = [&](std::size_t at, int bytes) {
        std::size_t value = 0;
        for (int i = bytes - 1; i >= 0; --i) {
            value = value << 8 | static_cast<unsigned char>(archive[at + static_cast<std::size_t>(i)]);
        }
        return value;
    };
    std::string all;
    for (std::size_t at = 0; archive.compare(at, 4, "PK\x03\x04") == 0;) {
        const std::size_t packed = number(at + 18, 4);
        const std::size_t name = number(at + 26, 2);
        std::string bytes(number(at + 22, 4), '\0');
        z_stream stream = {};
        stream.next_in = reinterpret_cast<Bytef*>(archive.data() + at + kHeader + name);
        stream.avail_in = static_cast<uInt>(packed);
        stream.next_out = reinterpret_cast<Bytef*>(bytes.data());
        stream.avail_out = static_cast<uInt>(bytes.size());
        if (number(at + 8, 2) == 0) {
            bytes = archive.substr(at + kHeader + name, packed);
        } else {
            EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
            EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
            inflateEnd(&stream);
        }
        all += archive.substr(at + kHeader, name) + "\n" + bytes + "\n";
        at += kHeader + name + packed;
    }
    return all;
}

std::string ReadArchive(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string archive{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(archive.substr(0, 2), "PK");
    return Unpacked(archive);
}

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
        return ReadArchive(file);
    }

    ConsoleRun m_run;
};

TEST_F(NexctlBundle, HoldsWhatHelpsAndNoContentsOfRequests) {
    StartWithSecrets();
    const std::string archive = Bundle();
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
        return ReadArchive(file);
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
