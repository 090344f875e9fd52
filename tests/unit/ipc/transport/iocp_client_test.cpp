// Connecting, sending and receiving.
#include "ipc/transport/iocp_client.h"

#include <atomic>
#include <cstdio>
#include <map>
#include <thread>
#include <vector>

#include "tests/support/handle_count.h"
#include "tests/support/log_capture.h"
#include "tests/unit/ipc/transport/iocp_client_fixture.h"

namespace {

using IocpClientTest = CIocpClientFixture;
using Payloads = std::vector<std::string>;

std::string LongText(std::size_t nSize) {
    std::string text(nSize, '\0');
    for (std::size_t i = 0; i < nSize; ++i) {
        text[i] = static_cast<char>('a' + i % 23);
    }
    return text;
}

TEST_F(IocpClientTest, AMissingPipeGivesNoConnectionButTheGateIsOpenedAllTheSame) {
    const CKernelHandle gate = MakeGate();
    const LogCapture log;
    EXPECT_EQ(m_pClient->CreateClientContext(), 0);
    EXPECT_FALSE(m_pClient->HasContext());
    const std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 2u) << log.All();
    EXPECT_TRUE(lines[0].starts_with("[CClientContext::OpenPipe(") && lines[0].ends_with(")]OpenPipe 2")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with("[CIOCP_Client::CreateClientContext(") &&
                lines[1].ends_with(")]pClientContext->GetPipe()"))
        << lines[1];
    // The send resets the gate, so the client has opened it.
    EXPECT_EQ(m_pClient->Send("text"), 0);
    EXPECT_FALSE(IsSet(gate));
}

TEST_F(IocpClientTest, ABusyPipeGivesNoConnectionAfterOneAttempt) {
    // A wait for the pipe would take as long as it likes: the default is for ever here.
    CFileHandle server(CreateNamedPipeW(m_strPipe.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, /*nMaxInstances=*/2, 0,
                                        0,
                                        /*nDefaultTimeOut=*/0xFFFFFFFF, nullptr));
    ASSERT_TRUE(server);
    const CRawPipe other = CRawPipe::Open(m_strPipe);
    ASSERT_TRUE(other.valid());
    const LogCapture log;
    // As soon as the attempt has failed, or waits for too long, another one would succeed.
    const CKernelHandle returned(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CRawPipe free;
    std::thread freer([&] {
        const ULONGLONG nStart = GetTickCount64();
        while (log.Count("]OpenPipe 231") == 0 && GetTickCount64() - nStart < kTestWaitMs &&
               WaitForSingleObject(returned.get(), 0) == WAIT_TIMEOUT) {
            Sleep(0);
        }
        free = CRawPipe::Serve(m_strPipe, 2);
    });
    EXPECT_EQ(m_pClient->CreateClientContext(), 0);
    SetEvent(returned.get());
    freer.join();
    ASSERT_TRUE(free.valid());
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_EQ(log.Count("]OpenPipe 231"), 1u) << log.All();
    EXPECT_EQ(log.Count("]pClientContext->GetPipe()"), 1u) << log.All();
    EXPECT_TRUE(CRawPipe::Open(m_strPipe).valid()) << "no client has taken the free instance";
}

TEST_F(IocpClientTest, AfterTheOwnerClosedThePortThereIsNoConnection) {
    Serve();
    m_pClient->WaitForThread();
    EXPECT_FALSE(m_pClient->HasPort());
    EXPECT_EQ(m_pClient->CreateClientContext(), 0);
    EXPECT_FALSE(m_pClient->StartThread() && m_pClient->HasContext());
}

TEST_F(IocpClientTest, WithoutAConnectionNothingIsPostedOrSent) {
    EXPECT_EQ(m_pClient->PostRead(), 0);
    EXPECT_EQ(m_pClient->Send("text"), 0);
}

TEST_F(IocpClientTest, MessagesPassBothWaysWhenTheConnectionComesFirst) {
    ServeAndConnect();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_EQ(m_pSink->Payloads(), Payloads{"request"});
    EXPECT_EQ(m_pClient->Send("reply"), 1);
    EXPECT_EQ(m_server.ReadFrame(), "reply");
    EXPECT_EQ(m_pSink->ConnectedCount(), 0) << "a client is not told that it is connected";
}

TEST_F(IocpClientTest, MessagesPassBothWaysWhenTheWorkerComesFirst) {
    Serve();
    ASSERT_TRUE(m_pClient->StartThread());
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    ASSERT_EQ(m_pClient->PostRead(), 1);
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_EQ(m_pClient->Send("reply"), 1);
    EXPECT_EQ(m_server.ReadFrame(), "reply");
}

TEST_F(IocpClientTest, ThereIsOneWorker) {
    ServeAndConnect();
    EXPECT_FALSE(m_pClient->StartThread());
    EXPECT_EQ(m_pClient->Send("text"), 1);
    EXPECT_EQ(m_server.ReadFrame(), "text");
}

TEST_F(IocpClientTest, TheLogTellsOfEveryReadAndWrite) {
    const LogCapture log;
    ServeAndConnect();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    ASSERT_TRUE(m_pSink->WaitForPayloads(1));
    ASSERT_EQ(m_pClient->Send("reply"), 1);
    ASSERT_EQ(m_server.ReadFrame(), "reply");
    m_pClient->Stop();
    m_pClient->WaitForThread();
    EXPECT_NE(log.Find("[CClientContext::PostRead("), "") << log.All();
    EXPECT_NE(log.Find(")]ReadFile bSuccess="), "") << log.All();
    EXPECT_NE(log.Find("[CClientContext::OnWriteBuffer("), "") << log.All();
    EXPECT_NE(log.Find(")]WriteFile bSuccess="), "") << log.All();
}

TEST_F(IocpClientTest, TheLogTellsAWriteThatIsDoneFromOneThatIsPendingAndOneThatFailed) {
    // With room for the first text and not for the second.
    const CFileHandle server(
        CreateNamedPipeW(m_strPipe.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr));
    ASSERT_TRUE(server);
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_pClient->StartThread());
    const LogCapture log;
    const auto waitFor = [&](const char* line) {
        const ULONGLONG nStart = GetTickCount64();
        while (log.Find(line).empty() && GetTickCount64() - nStart < kTestWaitMs) {
            Sleep(1);
        }
        EXPECT_NE(log.Find(line), "") << line << " is not in\n" << log.All();
    };
    ASSERT_EQ(m_pClient->Send("small"), 1);
    waitFor("WriteFile bSuccess=1, error=");
    ASSERT_EQ(m_pClient->Send(LongText(1 << 20)), 1);
    waitFor("WriteFile bSuccess=0, error=997");
}

TEST_F(IocpClientTest, TheLogTellsWhyAWriteFailedAtOnce) {
    Serve();
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    m_server.Close();
    const LogCapture log;
    ASSERT_TRUE(m_pClient->StartThread());
    ASSERT_EQ(m_pClient->Send("text"), 1);
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_EQ(log.Count("]WriteFile bSuccess=0, error=232"), 1u) << log.All();
}

TEST_F(IocpClientTest, ATextIsSentUpToItsFirstZeroByte) {
    ServeAndConnect();
    EXPECT_EQ(m_pClient->Send(std::string("cut\0off", 7)), 1);
    EXPECT_EQ(m_pClient->Send(""), 1);
    EXPECT_EQ(m_server.ReadFrame(), "cut");
    EXPECT_EQ(m_server.ReadFrame(), "");
}

TEST_F(IocpClientTest, AFrameInManyWritesIsDeliveredOnce) {
    ServeAndConnect();
    const std::string bytes = CRawPipe::Framed("slowly") + CRawPipe::Framed("again");
    for (const char byte : bytes) {
        ASSERT_TRUE(m_server.Write(std::string_view(&byte, 1)));
    }
    ASSERT_TRUE(m_pSink->WaitForPayloads(2));
    EXPECT_EQ(m_pSink->Payloads(), (Payloads{"slowly", "again"}));
}

TEST_F(IocpClientTest, TwentyMebibytesPassBothWays) {
    ServeAndConnect();
    const std::string text = LongText(20 << 20);
    ASSERT_TRUE(m_server.WriteFrame(text));
    ASSERT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_TRUE(m_pSink->Payloads()[0] == text);
    EXPECT_EQ(m_pClient->Send(text), 1);
    EXPECT_TRUE(m_server.ReadFrame() == text);
    // The connection is as good as before.
    EXPECT_EQ(m_pClient->Send("after"), 1);
    EXPECT_EQ(m_server.ReadFrame(), "after");
}

TEST_F(IocpClientTest, AReplyIsWrittenAfterTheHandlerAndInTheOrderOfTheSends) {
    const CKernelHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<bool> bHandlerReturned{false};
    m_pSink->m_onReceived = [&](const std::string&) {
        m_pClient->Send("first");
        // Another thread's message between the two of the handler.
        std::thread([&] { m_pClient->Send("second"); }).join();
        m_pClient->Send("third");
        EXPECT_EQ(m_server.ReadSome(1, 100), "") << "written while the handler was still running";
        bHandlerReturned.store(true);
    };
    ServeAndConnect();
    // The server is used by the handler, so this thread keeps off it until the handler is done.
    ASSERT_TRUE(m_server.WriteFrame("request"));
    ASSERT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_TRUE(bHandlerReturned.load());
    EXPECT_EQ(m_server.ReadFrame(), "first");
    EXPECT_EQ(m_server.ReadFrame(), "second");
    EXPECT_EQ(m_server.ReadFrame(), "third");
}

TEST_F(IocpClientTest, ConcurrentSendersKeepTheirOrderAndTheirFramesWhole) {
    constexpr int kSenders = 6;
    constexpr int kMessages = 60;
    const CKernelHandle gate = MakeGate();
    ServeAndConnect();
    std::vector<std::thread> senders;
    for (int sender = 0; sender < kSenders; ++sender) {
        senders.emplace_back([this, sender] {
            for (int i = 0; i < kMessages; ++i) {
                EXPECT_EQ(m_pClient->Send(std::to_string(sender) + ":" + std::to_string(i) + ":" +
                                          LongText(static_cast<std::size_t>(i) * 37)),
                          1);
            }
        });
    }
    std::map<int, int> next;
    for (int i = 0; i < kSenders * kMessages; ++i) {
        const std::optional<std::string> payload = m_server.ReadFrame();
        ASSERT_TRUE(payload.has_value()) << "frame " << i;
        int sender = -1;
        int number = -1;
        ASSERT_EQ(std::sscanf(payload->c_str(), "%d:%d:", &sender, &number), 2) << payload->substr(0, 40);
        EXPECT_EQ(number, next[sender]++) << "of sender " << sender;
        EXPECT_EQ(payload->substr(payload->rfind(':') + 1), LongText(static_cast<std::size_t>(number) * 37));
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    EXPECT_EQ(next.size(), static_cast<std::size_t>(kSenders));
    EXPECT_TRUE(IsSet(gate));
}

TEST_F(IocpClientTest, TwoClientsOfOneProcessDoNotMeet) {
    ServeAndConnect();
    const std::wstring otherName = UniquePipeName();
    CRawPipe otherServer = CRawPipe::Serve(otherName);
    const auto pOtherSink = std::make_shared<CRecordingSink>();
    const std::shared_ptr<CIOCP_Client> pOther = CIOCP_Client::Create();
    pOther->SetCallback(pOtherSink);
    pOther->SetNames(otherName, L"");
    ASSERT_EQ(pOther->CreateClientContext(), 1);
    ASSERT_TRUE(otherServer.WaitForClient());
    ASSERT_TRUE(pOther->StartThread());
    ASSERT_EQ(pOther->PostRead(), 1);
    ASSERT_TRUE(m_server.WriteFrame("one"));
    ASSERT_TRUE(otherServer.WriteFrame("two"));
    EXPECT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_TRUE(pOtherSink->WaitForPayloads(1));
    EXPECT_EQ(m_pSink->Payloads(), Payloads{"one"});
    EXPECT_EQ(pOtherSink->Payloads(), Payloads{"two"});
    pOther->Stop();
    pOther->WaitForThread();
}

// The write gate.

TEST_F(IocpClientTest, ASendClosesTheGateAndOpensItAgain) {
    const CKernelHandle gate = MakeGate();
    ServeAndConnect();
    EXPECT_EQ(m_pClient->Send("text"), 1);
    EXPECT_TRUE(IsSet(gate));
    EXPECT_EQ(m_server.ReadFrame(), "text");
}

TEST_F(IocpClientTest, FailedSendLeavesTheGateClosed) {
    const CKernelHandle gate = MakeGate();
    ServeAndConnect();
    m_server.Close();
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_EQ(m_pClient->Send("text"), 0);
    EXPECT_FALSE(IsSet(gate));
}

TEST_F(IocpClientTest, ASenderThatWaitedInVainForTheGateSendsAllTheSame) {
    const CKernelHandle gate = MakeGate();
    ServeAndConnect();
    ResetEvent(gate.get());
    const DWORD nStart = GetTickCount();
    EXPECT_EQ(m_pClient->Send("late"), 1);
    // A lower bound of a wait: it may be longer on a busy machine, never shorter.
    EXPECT_GE(GetTickCount() - nStart, kGateWaitMs - 50);
    EXPECT_TRUE(IsSet(gate));
    EXPECT_EQ(m_server.ReadFrame(), "late");
}

TEST_F(IocpClientTest, WithoutAGateOfThatNameSendsGoUngated) {
    ServeAndConnect();
    const CKernelHandle madeTooLate = MakeGate();
    ResetEvent(madeTooLate.get());
    EXPECT_EQ(m_pClient->Send("text"), 1);
    EXPECT_EQ(m_server.ReadFrame(), "text");
    EXPECT_FALSE(IsSet(madeTooLate));
}

// The probe.

TEST(DoesNamedPipeExist, IsFalseWhenNoProcessServesTheName) {
    const LogCapture log;
    EXPECT_FALSE(DoesNamedPipeExist(UniquePipeName()));
    EXPECT_EQ(log.Count("DoesNamedPipeExist , dwError=2"), 1u) << log.All();
}

TEST(DoesNamedPipeExist, AListeningServerSeesAClientComeAndGo) {
    const std::wstring name = UniquePipeName();
    CRawPipe server = CRawPipe::Serve(name);
    const CKernelHandle came(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED accept{};
    accept.hEvent = came.get();
    ASSERT_FALSE(ConnectNamedPipe(server.get(), &accept));
    ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    const LogCapture log;
    EXPECT_TRUE(DoesNamedPipeExist(name));
    EXPECT_EQ(log.Lines().size(), 0u) << log.All();
    EXPECT_EQ(WaitForSingleObject(came.get(), kTestWaitMs), WAIT_OBJECT_0) << "it came";
    EXPECT_TRUE(server.WaitForEnd()) << "and went";
    if (WaitForSingleObject(came.get(), 0) != WAIT_OBJECT_0) {
        // The block must not be left to the system.
        CancelIoEx(server.get(), &accept);
        DWORD nBytes = 0;
        GetOverlappedResult(server.get(), &accept, &nBytes, /*bWait=*/TRUE);
    }
}

TEST(DoesNamedPipeExist, APipeThatLetsUsNotReadOrNotWriteDoesNotCount) {
    for (const DWORD nAccess : {DWORD{PIPE_ACCESS_INBOUND}, DWORD{PIPE_ACCESS_OUTBOUND}}) {
        const std::wstring name = UniquePipeName();
        const CFileHandle server(
            CreateNamedPipeW(name.c_str(), nAccess | FILE_FLAG_OVERLAPPED, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr));
        ASSERT_TRUE(server) << GetLastError();
        const LogCapture log;
        EXPECT_FALSE(DoesNamedPipeExist(name));
        EXPECT_EQ(log.Count("DoesNamedPipeExist , dwError=5"), 1u) << nAccess << "\n" << log.All();
    }
}

TEST_F(IocpClientTest, AWakeUpCallInThePortDoesNotKeepAConnectionThatIsFreedWithAReadPending) {
    Serve();
    const std::size_t nBefore = OwnHandleCount();
    ASSERT_GT(nBefore, 0u);
    std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
    pClient->SetNames(m_strPipe, L"");
    ASSERT_EQ(pClient->CreateClientContext(), 1);
    ASSERT_EQ(pClient->PostRead(), 1);
    // Without a worker the call stays in the port, before the packet of the read that the end of the client cancels.
    pClient->WaitForThread();
    pClient.reset();
    EXPECT_EQ(OwnHandleCount(), nBefore);
}

TEST(DoesNamedPipeExist, AServerWithAllInstancesTakenCounts) {
    const std::wstring name = UniquePipeName();
    const CRawPipe server = CRawPipe::Serve(name, 1);
    const CRawPipe client = CRawPipe::Open(name);
    ASSERT_TRUE(client.valid());
    const LogCapture log;
    EXPECT_TRUE(DoesNamedPipeExist(name));
    EXPECT_EQ(log.Count("DoesNamedPipeExist , dwError=231"), 1u) << log.All();
}

}  // namespace
