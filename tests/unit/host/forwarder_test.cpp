#include "host/forwarder.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ipc/protocol/message_receiver.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/transport/iocp_server.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/log_capture.h"
#include "tests/support/raw_pipe.h"
#include "tests/support/unique_name.h"

namespace {

// The running helper is a pipe of the test, served on a thread of its own.
class ForwarderTest : public testing::Test {
  protected:
    ~ForwarderTest() override { Join(); }

    // Takes one message and answers with reply, or with nothing when reply is empty.
    void Serve(const std::string& reply) {
        m_server = CRawPipe::Serve(HostPipeName(m_mark), /*nMaxInstances=*/1);
        ASSERT_TRUE(m_server.valid()) << GetLastError();
        m_thread = std::thread([this, reply] {
            if (!m_server.WaitForClient()) {
                return;
            }
            m_message = m_server.ReadFrame();
            if (!reply.empty()) {
                m_bReplied = m_server.WriteFrame(reply);
            }
            m_bEnded = m_server.WaitForEnd();
        });
    }
    void Join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    std::wstring CommandLine(const std::wstring& rest) const { return L"/from:" + m_mark + rest; }
    // The texts after "[ExistzoltExcute(line)] ", in order.
    static std::vector<std::string> OwnLines(const LogCapture& log) {
        std::vector<std::string> texts;
        for (const std::string& line : log.Lines()) {
            if (line.starts_with("[ExistzoltExcute(")) {
                texts.push_back(line.substr(line.find(")] ") + 3));
            }
        }
        return texts;
    }

    const std::wstring m_mark = UniqueName(L"forward");
    CRawPipe m_server;
    std::thread m_thread;
    // Of the serving thread, read after Join.
    std::optional<std::string> m_message;
    bool m_bReplied = false;
    bool m_bEnded = false;
};

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());  // the tests' texts are ASCII
}

TEST_F(ForwarderTest, WithoutATypeTheWholeCommandLineIsForwarded) {
    Serve("1");
    const LogCapture log;
    const std::wstring commandLine = CommandLine(L" /service_id:42 /param:eA==");
    ExistzoltExcute(commandLine);
    Join();
    EXPECT_EQ(m_message, R"({"content":")" + Narrow(commandLine) + R"(","message_type":1})");
    EXPECT_TRUE(m_bReplied);
    EXPECT_TRUE(m_bEnded);
    EXPECT_EQ(OwnLines(log),
              (std::vector<std::string>{"enter ExistzoltExcute", "enter mark=" + Narrow(m_mark), "enter type def",
                                        "enter paramBuffer=eA==", "SIPC unexpected wait result.", "PostRead yse",
                                        "SPIC Received message"}))
        << log.All();
    EXPECT_EQ(log.Count("]Server says: 1"), 1u) << log.All();
    // The stop after the reply meets the worker before or after its next read. After it the worker says goodbye
    // once; before it the read finds the pipe closed, and then the worker may as well end without a word.
    const std::size_t goodbyes = log.Count("]Disconnected from server!");
    EXPECT_LE(goodbyes, 1u) << log.All();
    EXPECT_TRUE(goodbyes == 1 || log.Has("]ReadFile bSuccess=0, error=6")) << log.All();
}

TEST_F(ForwarderTest, TypeOneForwardsTheWholeCommandLine) {
    Serve("1");
    const LogCapture log;
    const std::wstring commandLine = CommandLine(L" /type:1 /service_id:42");
    ExistzoltExcute(commandLine);
    Join();
    EXPECT_EQ(m_message, R"({"content":")" + Narrow(commandLine) + R"(","message_type":1})");
    EXPECT_TRUE(log.Has("enter typeBuffer=1")) << log.All();
    EXPECT_TRUE(log.Has("enter paramBuffer=")) << log.All();
    EXPECT_TRUE(log.Has("SPIC Received message")) << log.All();
}

TEST_F(ForwarderTest, AnotherTypeCarriesTheDecodedParameterAsText) {
    Serve("");
    const LogCapture log;
    // {"p1":"x"}
    ExistzoltExcute(CommandLine(L" /type:6 /param:eyJwMSI6IngifQ=="));
    Join();
    EXPECT_EQ(m_message, R"({"content":"{\"p1\":\"x\"}","message_type":6})");
    EXPECT_NE(log.Find(")] SPIC Received message dwWaitResult=258 ,error="), "") << log.All();
    EXPECT_FALSE(log.Has("SPIC Received message")) << log.All();
    EXPECT_TRUE(m_bEnded) << "the connection is closed although the worker was not waited for";
}

TEST_F(ForwarderTest, AnotherTypeWithoutAParameterCarriesAnEmptyText) {
    Serve("");
    ExistzoltExcute(CommandLine(L" /type:-3"));
    Join();
    EXPECT_EQ(m_message, R"({"content":"","message_type":-3})");
}

TEST_F(ForwarderTest, AReplyThatIsNotOneByteOneDoesNotCount) {
    Serve("11");
    const LogCapture log;
    ExistzoltExcute(CommandLine(L""));
    EXPECT_TRUE(log.Has("]Server says: 11")) << log.All();
    EXPECT_NE(log.Find("SPIC Received message dwWaitResult=258"), "") << log.All();
}

TEST_F(ForwarderTest, AForwardedParameterIsCutAt8190Characters) {
    Serve("1");
    const std::wstring param(9000, L'Q');  // "QQQQ" is 41 04 10
    ExistzoltExcute(CommandLine(L" /type:5 /param:") + param);
    Join();
    ASSERT_TRUE(m_message.has_value());
    // 8190 characters are 2047 groups of three bytes and two characters more, which give one byte.
    std::size_t letters = 0;
    for (const char c : *m_message) {
        letters += c == 'A' ? 1 : 0;
    }
    EXPECT_EQ(letters, 2048u);
}

TEST_F(ForwarderTest, WithoutAServerItGivesUpAfterOneAttempt) {
    const LogCapture log;
    ExistzoltExcute(CommandLine(L""));
    const std::vector<std::string> lines = OwnLines(log);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Failed to connect to server!") << log.All();
    EXPECT_EQ(log.Count("]OpenPipe 2"), 1u) << log.All();
}

TEST_F(ForwarderTest, ABusyServerIsNotAskedTwice) {
    CRawPipe server = CRawPipe::Serve(HostPipeName(m_mark), /*nMaxInstances=*/1);
    const CRawPipe other = CRawPipe::Open(HostPipeName(m_mark));
    ASSERT_TRUE(other.valid());
    const LogCapture log;
    ExistzoltExcute(CommandLine(L""));
    EXPECT_EQ(log.Count("]OpenPipe 231"), 1u) << log.All();
    EXPECT_TRUE(log.Has("Failed to connect to server!")) << log.All();
}

TEST_F(ForwarderTest, ItDelaysForTwoSecondsEvenWhenTheServerIsReady) {
    Serve("1");
    const CKernelHandle ready(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/TRUE, kReadyEventName));
    const DWORD nStart = GetTickCount();
    ExistzoltExcute(CommandLine(L""));
    // A lower bound: a busy machine makes it longer, nothing makes it shorter.
    EXPECT_GE(GetTickCount() - nStart, 1950u);
    EXPECT_EQ(WaitForSingleObject(ready.get(), 0), WAIT_OBJECT_0) << "the ready event was consumed";
}

std::vector<DWORD> g_vecWaits;

DWORD WINAPI NoteWait(HANDLE, DWORD nMilliseconds) {
    g_vecWaits.push_back(nMilliseconds);
    return WAIT_TIMEOUT;
}

TEST_F(ForwarderTest, ItWaitsTwoSecondsBeforeItConnectsAndTwoForTheReply) {
    Serve("");
    g_vecWaits.clear();
    g_pfnForwarderWait = &NoteWait;
    ExistzoltExcute(CommandLine(L""));
    g_pfnForwarderWait = &WaitForSingleObject;
    EXPECT_EQ(g_vecWaits, (std::vector<DWORD>{2000, 2000}));
}

TEST_F(ForwarderTest, TheMessagePassesTheHostsGate) {
    const CKernelHandle gate(
        CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, HostEventName(m_mark).c_str()));
    Serve("1");
    const LogCapture log;
    ExistzoltExcute(CommandLine(L""));
    Join();
    EXPECT_TRUE(m_message.has_value()) << "a gate that stays closed only delays";
    EXPECT_EQ(WaitForSingleObject(gate.get(), 0), WAIT_OBJECT_0);
}

// Takes messages as the host does and acknowledges each.
class CAcknowledgingHost final : public IMessageReceiver {
  public:
    int ReceiveIPCMessage(const unsigned char* data, int) override {
        m_vecMessages.emplace_back(reinterpret_cast<const char*>(data));
        m_pServer->Send("1");
        return 1;
    }
    std::shared_ptr<CIOCP_Server> m_pServer = CIOCP_Server::Create();
    std::vector<std::string> m_vecMessages;
};

TEST_F(ForwarderTest, TheHostsOwnServerTakesOneStartAfterTheOther) {
    CAcknowledgingHost host;
    host.m_pServer->SetCallback(std::make_shared<CPipeServerCallback>(&host));
    host.m_pServer->SetNames(HostPipeName(m_mark), HostEventName(m_mark));
    ASSERT_TRUE(host.m_pServer->StartThread());
    host.m_pServer->CreateListener();
    const LogCapture log;
    ExistzoltExcute(CommandLine(L" /service_id:1"));
    ExistzoltExcute(CommandLine(L" /service_id:2"));
    host.m_pServer->Stop();
    host.m_pServer->WaitForThread();
    EXPECT_EQ(log.Count("SPIC Received message"), 2u) << log.All();
    ASSERT_EQ(host.m_vecMessages.size(), 2u);
    EXPECT_EQ(host.m_vecMessages[1],
              R"({"content":")" + Narrow(CommandLine(L" /service_id:2")) + R"(","message_type":1})");
}

TEST_F(ForwarderTest, ATypeThatIsNotANumberThrowsBeforeAnythingIsSent) {
    // In the program nothing catches it, and the process ends.
    const LogCapture log;
    EXPECT_THROW(ExistzoltExcute(CommandLine(L" /type:abc")), std::invalid_argument);
    EXPECT_EQ(OwnLines(log), (std::vector<std::string>{"enter ExistzoltExcute", "enter mark=" + Narrow(m_mark),
                                                       "enter typeBuffer=abc"}));
}

}  // namespace
