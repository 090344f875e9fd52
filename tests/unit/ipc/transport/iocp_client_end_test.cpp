// How connections end, and what is left of them.
#include <atomic>
#include <thread>
#include <vector>

#include "ipc/transport/iocp_client.h"
#include "tests/support/handle_count.h"
#include "tests/support/log_capture.h"
#include "tests/unit/ipc/transport/iocp_client_fixture.h"

namespace {

using IocpClientEndTest = CIocpClientFixture;

// More than any pipe takes without a reader.
const std::string kStuckText(4 << 20, 'x');

bool HasEnded(const CKernelHandle& thread, DWORD nWaitMs = kTestWaitMs) {
    return WaitForSingleObject(thread.get(), nWaitMs) == WAIT_OBJECT_0;
}

TEST_F(IocpClientEndTest, APeerThatClosesEndsTheConnectionAndTheWorker) {
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    m_server.Close();
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pClient->Send("text"), 0);
    EXPECT_EQ(m_pClient->PostRead(), 0);
    m_pClient->WaitForThread();
    EXPECT_EQ(m_pClient->Thread(), nullptr);
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, APeerProcessThatDiesEndsTheConnection) {
    const CKernelHandle ready(CreateEventW(nullptr, TRUE, FALSE, m_strEvent.c_str()));
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    PathRemoveFileSpecW(path);
    std::wstring command =
        L"\"" + std::wstring(path) + L"\\mute_server.exe\" \"" + m_strPipe + L"\" \"" + m_strEvent + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    ASSERT_TRUE(
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        << GetLastError();
    const CKernelHandle hProcess(process.hProcess);
    const CKernelHandle hThread(process.hThread);
    ASSERT_EQ(WaitForSingleObject(ready.get(), kTestWaitMs), WAIT_OBJECT_0);
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_pClient->StartThread());
    ASSERT_EQ(m_pClient->PostRead(), 1);
    const CKernelHandle worker = DuplicateWorker();
    ASSERT_TRUE(TerminateProcess(hProcess.get(), 1));
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_FALSE(m_pClient->HasContext());
    WaitForSingleObject(hProcess.get(), kTestWaitMs);
}

TEST_F(IocpClientEndTest, APeerThatClosesInMidFrameDeliversNothing) {
    ServeAndConnect();
    const std::string frame = CRawPipe::Framed("never whole");
    ASSERT_TRUE(m_server.Write(frame.substr(0, frame.size() - 1)));
    m_server.Close();
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_TRUE(m_pSink->Payloads().empty());
}

TEST_F(IocpClientEndTest, APeerThatClosesWhileAWriteIsPendingLeavesADeadConnectionWithoutAWord) {
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    EXPECT_EQ(m_pClient->Send(kStuckText), 1);
    // The first bytes are there, so the write has been started and is pending.
    ASSERT_EQ(m_server.Read(8).size(), 8u);
    m_server.Close();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 0);
    EXPECT_TRUE(m_pClient->HasContext());
    EXPECT_EQ(m_pClient->Send("into the void"), 1);
    m_pClient->WaitForThread();
    EXPECT_EQ(m_pClient->Thread(), nullptr);
}

TEST_F(IocpClientEndTest, AReadThatFailsWhileAGoodWritesPacketIsInThePortEndsTheConnection) {
    // The peer takes the pending write and leaves while the handler runs, so the next read fails at once before the
    // write's packet is looked at, and no operation is left that could fail.
    m_pSink->m_onReceived = [this](const std::string&) {
        EXPECT_EQ(m_server.Read(7), "pending");
        m_server.Close();
    };
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    EXPECT_EQ(m_pClient->Send("pending"), 1);
    ASSERT_EQ(m_server.Read(8).size(), 8u) << "the write was started and is pending";
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_EQ(m_pClient->Send("text"), 0);
    m_pClient->End();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, StopEndsTheConnectionAndTheWorker) {
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->Stop();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_TRUE(m_server.WaitForEnd());
    m_pClient->WaitForThread();
    EXPECT_EQ(m_pClient->Thread(), nullptr);
    EXPECT_FALSE(m_pClient->HasPort());
}

TEST_F(IocpClientEndTest, StopWhileAWriteIsPendingEndsTheWorkerWithoutAWord) {
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    EXPECT_EQ(m_pClient->Send(kStuckText), 1);
    ASSERT_EQ(m_server.Read(8).size(), 8u);
    m_pClient->Stop();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 0);
    EXPECT_TRUE(m_pClient->HasContext());
}

TEST_F(IocpClientEndTest, StopIsHarmlessWhenItComesTwiceOrAfterTheEnd) {
    ServeAndConnect();
    m_pClient->Stop();
    m_pClient->Stop();
    m_pClient->WaitForThread();
    m_pClient->Stop();
    m_pClient->WaitForThread();
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, StopWithoutAConnectionIsSwallowedAndTheWorkerEndsWhenThePortIsClosed) {
    ASSERT_TRUE(m_pClient->StartThread());
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->Stop();
    m_pClient->WaitForThread();
    EXPECT_NE(m_pClient->Thread(), nullptr) << "the worker was seen to end before the port was closed";
    EXPECT_FALSE(m_pClient->HasPort());
    EXPECT_TRUE(HasEnded(worker));
}

// An owner that releases the connection waits for the worker, so whatever the connection has come to, the worker ends
// without the port being closed for it.

TEST_F(IocpClientEndTest, EndWithoutAConnectionEndsTheWorker) {
    ASSERT_TRUE(m_pClient->StartThread());
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->End();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_TRUE(m_pClient->HasPort());
    EXPECT_EQ(m_pSink->LostCount(), 0);
}

TEST_F(IocpClientEndTest, EndEndsAWorkerWhoseConnectionEndedByAFailureAtOnce) {
    m_pSink->m_onReceived = [this](const std::string&) { m_server.Close(); };
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_FALSE(HasEnded(worker, 50));
    m_pClient->End();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, EndEndsAWorkerWhoseConnectionNeverGotARead) {
    Serve();
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    m_server.Close();
    ASSERT_TRUE(m_pClient->StartThread());
    ASSERT_EQ(m_pClient->PostRead(), 0);
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->End();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 0);
}

TEST_F(IocpClientEndTest, EndTellsTheSinkOfALiveConnectionAsStopDoes) {
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->End();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_TRUE(m_server.WaitForEnd());
}

TEST_F(IocpClientEndTest, EndOutOfAHandlerEndsTheWorkerAfterIt) {
    m_pSink->m_onReceived = [this](const std::string&) { m_pClient->End(); };
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, AReadThatFailsAtOnceIsTheCallersToKnow) {
    Serve();
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    m_server.Close();
    ASSERT_TRUE(m_pClient->StartThread());
    const LogCapture log;
    EXPECT_EQ(m_pClient->PostRead(), 0);
    EXPECT_TRUE(log.Has("]ReadFile bSuccess=0, error=109")) << log.All();
    EXPECT_TRUE(m_pClient->HasContext());
    EXPECT_EQ(m_pSink->LostCount(), 0);
}

TEST_F(IocpClientEndTest, AWriteThatFailsAtOnceEndsTheConnectionWhileTheWorkerGoesOn) {
    Serve();
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    m_server.Close();
    ASSERT_TRUE(m_pClient->StartThread());
    const CKernelHandle worker = DuplicateWorker();
    // No read is pending, so the failed write is the connection's last word.
    EXPECT_EQ(m_pClient->Send("text"), 1);
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pClient->HasContext());
    EXPECT_FALSE(HasEnded(worker, 50));
    m_pClient->Stop();
    m_pClient->WaitForThread();
    EXPECT_NE(m_pClient->Thread(), nullptr);
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, APeerThatClosesWhileAHandlerRepliesIsLostOnce) {
    m_pSink->m_onReceived = [this](const std::string&) {
        m_server.Close();
        EXPECT_EQ(m_pClient->Send("reply"), 1);
    };
    ServeAndConnect();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(m_pSink->WaitForLost());
    EXPECT_EQ(m_pSink->LostCount(), 1);
    EXPECT_FALSE(m_pClient->HasContext());
}

TEST_F(IocpClientEndTest, ALateWorkerFindsEverythingAliveAndEndsByItself) {
    const CKernelHandle entered(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const CKernelHandle release(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_pSink->m_onReceived = [&, pClient = m_pClient.get()](const std::string&) {
        SetEvent(entered.get());
        WaitForSingleObject(release.get(), kTestWaitMs);
        EXPECT_EQ(pClient->Send("a reply that is lost"), 1);
    };
    std::atomic<int> nLost{0};
    m_pSink->m_onLost = [&nLost] { ++nLost; };
    ServeAndConnect();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    ASSERT_EQ(WaitForSingleObject(entered.get(), kTestWaitMs), WAIT_OBJECT_0);
    const CKernelHandle worker = DuplicateWorker();
    m_pClient->Stop();
    EXPECT_TRUE(m_server.WaitForEnd()) << "the peer sees the end at once";
    m_pClient->WaitForThread();
    EXPECT_NE(m_pClient->Thread(), nullptr) << "the handler is still running";
    EXPECT_FALSE(m_pClient->HasPort());
    const std::weak_ptr<CIOCP_Client> pWatched = m_pClient;
    const std::weak_ptr<CRecordingSink> pWatchedSink = m_pSink;
    m_pClient.reset();
    m_pSink.reset();
    ASSERT_FALSE(pWatched.expired());
    ASSERT_FALSE(pWatchedSink.expired());
    SetEvent(release.get());
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(nLost.load(), 1);
    EXPECT_TRUE(pWatched.expired());
    EXPECT_TRUE(pWatchedSink.expired());
}

TEST_F(IocpClientEndTest, TheWorkerDoesNotWaitForItself) {
    m_pSink->m_onReceived = [this](const std::string&) {
        m_pClient->Stop();
        m_pClient->WaitForThread(2 * kTestWaitMs);
    };
    ServeAndConnect();
    const CKernelHandle worker = DuplicateWorker();
    ASSERT_TRUE(m_server.WriteFrame("request"));
    EXPECT_TRUE(HasEnded(worker)) << "it waits for itself";
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpClientEndTest, ANullClientEndsItsWorkerAtOnce) {
    EXPECT_EQ(CIOCP_Client::WorkerThread(nullptr), 0u);
}

TEST_F(IocpClientEndTest, AWorkerOnAClosedPortEndsAtOnce) {
    m_pClient->Stop();
    m_pClient->WaitForThread();
    EXPECT_EQ(CIOCP_Client::WorkerThread(m_pClient), 0u);
}

TEST_F(IocpClientEndTest, AClientThatNeverHadAWorkerTakesItsPendingReadBack) {
    Serve();
    ASSERT_EQ(m_pClient->CreateClientContext(), 1);
    ASSERT_TRUE(m_server.WaitForClient());
    ASSERT_EQ(m_pClient->PostRead(), 1);
    EXPECT_EQ(m_pClient->Send("never written"), 1);
    m_pClient.reset();
    EXPECT_TRUE(m_server.WaitForEnd());
}

TEST_F(IocpClientEndTest, SendersMayGoOnWhileTheConnectionEnds) {
    // Bounded, since the peer does not read: every message is one more pending write that the system has to end.
    constexpr int kMessages = 200;
    for (int round = 0; round < 10; ++round) {
        const std::wstring name = UniquePipeName();
        CRawPipe server = CRawPipe::Serve(name);
        const std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
        pClient->SetCallback(std::make_shared<CRecordingSink>());
        pClient->SetNames(name, L"");
        ASSERT_EQ(pClient->CreateClientContext(), 1);
        ASSERT_TRUE(server.WaitForClient());
        ASSERT_TRUE(pClient->StartThread());
        ASSERT_EQ(pClient->PostRead(), 1);
        const CKernelHandle worker = DuplicateHandleOf(pClient->Thread());
        std::atomic<int> nSent{0};
        const CKernelHandle some(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::vector<std::thread> senders;
        for (int sender = 0; sender < 3; ++sender) {
            senders.emplace_back([&] {
                for (int i = 0; i < kMessages; ++i) {
                    pClient->Send("text");
                    if (++nSent == 20) {
                        SetEvent(some.get());
                    }
                }
            });
        }
        EXPECT_EQ(WaitForSingleObject(some.get(), kTestWaitMs), WAIT_OBJECT_0);
        if (round % 2 == 0) {
            server.Close();
        } else {
            pClient->Stop();
        }
        pClient->Stop();
        pClient->WaitForThread();
        for (std::thread& sender : senders) {
            sender.join();
        }
        EXPECT_TRUE(HasEnded(worker)) << "round " << round;
    }
}

TEST_F(IocpClientEndTest, TwoHundredConnectionsLeaveNoHandle) {
    const auto round = [] {
        const std::wstring name = UniquePipeName();
        CRawPipe server = CRawPipe::Serve(name);
        const auto pSink = std::make_shared<CRecordingSink>();
        const std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
        pClient->SetCallback(pSink);
        pClient->SetNames(name, L"");
        ASSERT_EQ(pClient->CreateClientContext(), 1);
        ASSERT_TRUE(server.WaitForClient());
        ASSERT_TRUE(pClient->StartThread());
        ASSERT_EQ(pClient->PostRead(), 1);
        ASSERT_TRUE(server.WriteFrame("text"));
        ASSERT_TRUE(pSink->WaitForPayloads(1));
        // Written after the next read, which is therefore pending when the peer closes.
        ASSERT_EQ(pClient->Send("reply"), 1);
        ASSERT_EQ(server.ReadFrame(), "reply");
        server.Close();
        ASSERT_TRUE(pSink->WaitForLost());
        pClient->Stop();
        pClient->WaitForThread();
        ASSERT_EQ(pClient->Thread(), nullptr);
    };
    round();
    const std::size_t nBefore = OwnHandleCount();
    ASSERT_GT(nBefore, 0u);
    for (int i = 0; i < 200; ++i) {
        round();
    }
    const std::size_t nAfter = OwnHandleCount();
    EXPECT_LE(nAfter, nBefore + 5) << "handles before and after: " << nBefore << ", " << nAfter;
}

}  // namespace
