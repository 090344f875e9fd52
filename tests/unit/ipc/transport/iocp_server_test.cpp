#include "ipc/transport/iocp_server.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/handle_count.h"
#include "tests/support/raw_pipe.h"
#include "tests/unit/ipc/transport/recording_sink.h"

namespace {

using Payloads = std::vector<std::string>;

class IocpServerTest : public testing::Test {
  protected:
    ~IocpServerTest() override {
        if (m_pServer) {
            m_pServer->Stop();
            m_pServer->WaitForThread();
        }
    }

    void Start() {
        ASSERT_TRUE(m_pServer->StartThread());
        m_pServer->CreateListener();
    }

    CRawPipe Connect() {
        CRawPipe client = CRawPipe::Open(m_strPipe);
        EXPECT_TRUE(client.valid()) << GetLastError();
        return client;
    }

    // Connects, and returns when the first read is pending: a message from another thread than the worker is written
    // after it. Before that an end is found at once, by the read, instead of by its completion.
    CRawPipe ConnectAndWaitForRead() {
        CRawPipe client = Connect();
        EXPECT_TRUE(m_pSink->WaitForConnected());
        EXPECT_EQ(m_pServer->Send("hello"), 1);
        EXPECT_EQ(client.ReadFrame(), "hello");
        return client;
    }

    CKernelHandle DuplicateWorker() const {
        HANDLE hThread = nullptr;
        DuplicateHandle(GetCurrentProcess(), m_pServer->Thread(), GetCurrentProcess(), &hThread, SYNCHRONIZE,
                        /*bInheritHandle=*/FALSE, 0);
        return CKernelHandle(hThread);
    }
    static bool HasEnded(const CKernelHandle& thread) {
        return WaitForSingleObject(thread.get(), kTestWaitMs) == WAIT_OBJECT_0;
    }
    CKernelHandle OpenGate() const {
        return CKernelHandle(OpenEventW(EVENT_ALL_ACCESS, /*bInheritHandle=*/FALSE, m_strEvent.c_str()));
    }
    static bool IsSet(const CKernelHandle& event) { return WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0; }

    const std::wstring m_strPipe = UniquePipeName();
    const std::wstring m_strEvent = UniqueEventName();
    std::shared_ptr<CRecordingSink> m_pSink = std::make_shared<CRecordingSink>();
    std::shared_ptr<CIOCP_Server> m_pServer = [this] {
        std::shared_ptr<CIOCP_Server> pServer = CIOCP_Server::Create();
        pServer->SetCallback(m_pSink);
        pServer->SetNames(m_strPipe, m_strEvent);
        return pServer;
    }();
};

TEST_F(IocpServerTest, AClientIsAnnouncedAndItsMessagesAreDelivered) {
    Start();
    EXPECT_FALSE(m_pServer->HasContext()) << "a listener is not a connection";
    CRawPipe client = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    EXPECT_TRUE(m_pServer->HasContext());
    ASSERT_TRUE(client.WriteFrame("command line"));
    ASSERT_TRUE(m_pSink->WaitForPayloads(1));
    EXPECT_EQ(m_pSink->Payloads(), Payloads{"command line"});
    EXPECT_EQ(m_pServer->Send("1"), 1);
    EXPECT_EQ(client.Read(9), std::string("\x00\x02\x00\x00\x01\x00\x00\x00\x31", 9));
}

TEST_F(IocpServerTest, PipeIsOneOfBytesWhoseBuffersTheSystemChooses) {
    // Another pipe of the system's own sizes says what they are.
    const std::wstring other = UniquePipeName();
    const CFileHandle chosen(CreateNamedPipeW(other.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr));
    DWORD nFlags = 0;
    DWORD nOut = 1;
    DWORD nIn = 1;
    ASSERT_TRUE(GetNamedPipeInfo(chosen.get(), &nFlags, &nOut, &nIn, nullptr)) << GetLastError();
    Start();
    const CRawPipe client = Connect();
    DWORD nServerFlags = PIPE_TYPE_MESSAGE;
    DWORD nServerOut = 2;
    DWORD nServerIn = 2;
    ASSERT_TRUE(GetNamedPipeInfo(client.get(), &nServerFlags, &nServerOut, &nServerIn, nullptr)) << GetLastError();
    EXPECT_EQ(nServerFlags & PIPE_TYPE_MESSAGE, 0u);
    EXPECT_EQ(nServerOut, nOut);
    EXPECT_EQ(nServerIn, nIn);
}

TEST_F(IocpServerTest, ASecondClientFindsNoFreeInstanceWhileOneIsConnected) {
    Start();
    const CRawPipe first = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    const CRawPipe second = CRawPipe::Open(m_strPipe);
    const DWORD nError = GetLastError();
    EXPECT_FALSE(second.valid());
    EXPECT_EQ(nError, static_cast<DWORD>(ERROR_PIPE_BUSY));
}

TEST_F(IocpServerTest, TheNextListenerIsThereBeforeTheLossIsTold) {
    CRawPipe next;
    m_pSink->m_onLost = [&] {
        if (m_pSink->LostCount() == 0) {
            next = CRawPipe::Open(m_strPipe);
            EXPECT_TRUE(next.valid()) << GetLastError();
        }
    };
    Start();
    CRawPipe first = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    first.Close();
    ASSERT_TRUE(m_pSink->WaitForLost());
    ASSERT_TRUE(m_pSink->WaitForConnected(2));
    ASSERT_TRUE(next.WriteFrame("from the second"));
    ASSERT_TRUE(m_pSink->WaitForPayloads(1));
    next.Close();
    ASSERT_TRUE(m_pSink->WaitForLost(2));
}

TEST_F(IocpServerTest, AProbeComesAndGoesAndTheServerListensAgain) {
    Start();
    for (int i = 1; i <= 5; ++i) {
        CRawPipe probe = Connect();
        probe.Close();
        ASSERT_TRUE(m_pSink->WaitForLost(i)) << "probe " << i;
    }
    CRawPipe client = Connect();
    ASSERT_TRUE(client.WriteFrame("still there"));
    EXPECT_TRUE(m_pSink->WaitForPayloads(1));
}

TEST_F(IocpServerTest, AClientThatLeavesAWriteUnreadIsLostOnceWhenAllHasFailed) {
    Start();
    CRawPipe client = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    EXPECT_EQ(m_pServer->Send(std::string(4 << 20, 'x')), 1);
    ASSERT_EQ(client.Read(8).size(), 8u);
    client.Close();
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pServer->HasContext());
    const CRawPipe next = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected(2));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpServerTest, AReadThatFailsWhileAGoodWritesPacketIsInThePortLetsTheNextClientIn) {
    CRawPipe client;
    const CKernelHandle written(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_pSink->m_onReceived = [&](const std::string&) {
        WaitForSingleObject(written.get(), INFINITE);
        EXPECT_EQ(client.Read(7), "pending");
        client.Close();
    };
    Start();
    client = ConnectAndWaitForRead();
    EXPECT_EQ(m_pServer->Send("pending"), 1);
    ASSERT_EQ(client.Read(8).size(), 8u) << "the write was started and is pending";
    const bool bWritten = client.WriteFrame("request");
    SetEvent(written.get());
    ASSERT_TRUE(bWritten);
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(m_pServer->HasContext());
    const CRawPipe next = Connect();
    EXPECT_TRUE(m_pSink->WaitForConnected(2));
    EXPECT_EQ(m_pSink->LostCount(), 1);
}

TEST_F(IocpServerTest, ClientBeforeTheAcceptGetsNoService) {
    CClientContext context(std::make_shared<const CKernelHandle>(
        CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, /*CompletionKey=*/0, 0)));
    context.MakePipe(m_strPipe);
    ASSERT_TRUE(context.HasPipe() && context.HasReadBuffer() && context.HasAcceptBuffer());
    CRawPipe client = Connect();
    EXPECT_FALSE(context.PostAccept());
    EXPECT_FALSE(context.HasPendingIo());
    EXPECT_TRUE(context.TryClose());
    EXPECT_TRUE(client.WaitForEnd());
}

// The moment between the making of the pipe and the accept is short, so clients storm one server after the other until
// one of them has met it.
TEST_F(IocpServerTest, AClientThatComesBeforeTheAcceptEndsTheListeningForGood) {
    const ULONGLONG nStart = GetTickCount64();
    bool bMet = false;
    while (!bMet && GetTickCount64() - nStart < 3 * kTestWaitMs) {
        const std::wstring name = UniquePipeName();
        const auto pSink = std::make_shared<CRecordingSink>();
        const std::shared_ptr<CIOCP_Server> pServer = CIOCP_Server::Create();
        pServer->SetCallback(pSink);
        pServer->SetNames(name, UniqueEventName());
        ASSERT_TRUE(pServer->StartThread());
        CRawPipe client;
        std::thread storm([&] {
            while (!client.valid()) {
                client = CRawPipe::Open(name);
            }
        });
        pServer->CreateListener();
        storm.join();
        const auto isOver = [&] { return !PeekNamedPipe(client.get(), nullptr, 0, nullptr, nullptr, nullptr); };
        while (!isOver() && pSink->ConnectedCount() == 0 && GetTickCount64() - nStart < 3 * kTestWaitMs) {
            Sleep(0);
        }
        if (pSink->ConnectedCount() == 0) {
            bMet = true;
            EXPECT_TRUE(isOver()) << "it is connected and the worker does not see it";
            EXPECT_FALSE(pServer->HasContext());
            const CRawPipe next = CRawPipe::Open(name);
            const DWORD nError = GetLastError();
            EXPECT_FALSE(next.valid());
            EXPECT_EQ(nError, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
            EXPECT_EQ(pSink->LostCount(), 0);
        }
        client.Close();
        pServer->Stop();
        pServer->WaitForThread();
    }
    EXPECT_TRUE(bMet);
}

TEST_F(IocpServerTest, AClientThatCameAndWentBeforeTheAcceptGetsNoService) {
    CClientContext context(std::make_shared<const CKernelHandle>(
        CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, /*CompletionKey=*/0, 0)));
    context.MakePipe(m_strPipe);
    Connect().Close();
    EXPECT_FALSE(context.PostAccept());
    EXPECT_FALSE(context.HasPendingIo());
}

TEST_F(IocpServerTest, AFailedListenerLeavesTheServerDownWithItsGateMade) {
    m_pServer->SetNames(L"C:\\no\\pipe\\name", m_strEvent);
    Start();
    EXPECT_FALSE(m_pServer->HasContext());
    const CKernelHandle gate = OpenGate();
    ASSERT_TRUE(gate);
    EXPECT_TRUE(IsSet(gate));
}

TEST_F(IocpServerTest, StopWhileConnectedEndsTheWorkerWithoutAListenerAndWithoutAWord) {
    Start();
    CRawPipe client = ConnectAndWaitForRead();
    const CKernelHandle worker = DuplicateWorker();
    m_pServer->Stop();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(m_pSink->LostCount(), 0);
    EXPECT_FALSE(m_pServer->HasContext());
    EXPECT_FALSE(CRawPipe::Open(m_strPipe).valid());
    m_pServer->WaitForThread();
    EXPECT_EQ(m_pServer->Thread(), nullptr);
}

TEST_F(IocpServerTest, StopWhileListeningIsSwallowedAndTheWorkerEndsWhenThePortIsClosed) {
    Start();
    const CKernelHandle worker = DuplicateWorker();
    m_pServer->Stop();
    m_pServer->WaitForThread();
    EXPECT_NE(m_pServer->Thread(), nullptr) << "the worker was seen to end before the port was closed";
    EXPECT_FALSE(m_pServer->HasPort());
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_FALSE(CRawPipe::Open(m_strPipe).valid()) << "the listener is closed with the port";
    EXPECT_EQ(m_pSink->LostCount(), 0);
}

TEST_F(IocpServerTest, StopOutOfAHandlerEndsTheWorker) {
    m_pSink->m_onReceived = [this](const std::string&) { m_pServer->Stop(); };
    Start();
    CRawPipe client = Connect();
    const CKernelHandle worker = DuplicateWorker();
    ASSERT_TRUE(client.WriteFrame("stop"));
    EXPECT_TRUE(client.WaitForEnd());
    m_pServer->WaitForThread();
    EXPECT_TRUE(HasEnded(worker));
    EXPECT_EQ(m_pSink->LostCount(), 0);
}

TEST_F(IocpServerTest, AServerWithoutAWorkerTakesItsPendingAcceptBack) {
    m_pServer->CreateListener();
    m_pServer.reset();
    EXPECT_FALSE(CRawPipe::Open(m_strPipe).valid());
}

TEST_F(IocpServerTest, ANullServerEndsItsWorkerAtOnce) {
    EXPECT_EQ(CIOCP_Server::WorkerThread(nullptr), 0u);
}

TEST_F(IocpServerTest, TheGateIsMadeSignalledAndResetByHandOnly) {
    Start();
    const CKernelHandle gate = OpenGate();
    ASSERT_TRUE(gate);
    EXPECT_TRUE(IsSet(gate));
    EXPECT_TRUE(IsSet(gate)) << "a wait alone does not close it";
}

TEST_F(IocpServerTest, ASendWithoutAConnectionLeavesTheGateClosed) {
    Start();
    const CKernelHandle gate = OpenGate();
    EXPECT_EQ(m_pServer->Send("1"), 0);
    EXPECT_FALSE(IsSet(gate));
}

TEST_F(IocpServerTest, ASendOnAConnectionOpensTheGateAgain) {
    Start();
    CRawPipe client = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    const CKernelHandle gate = OpenGate();
    EXPECT_EQ(m_pServer->Send("1"), 1);
    EXPECT_TRUE(IsSet(gate));
    EXPECT_EQ(client.ReadFrame(), "1");
}

TEST_F(IocpServerTest, TheNextListenerTakesTheGateAsItIs) {
    Start();
    const CKernelHandle gate = OpenGate();
    CRawPipe client = Connect();
    ASSERT_TRUE(m_pSink->WaitForConnected());
    ResetEvent(gate.get());
    client.Close();
    ASSERT_TRUE(m_pSink->WaitForLost());
    EXPECT_FALSE(IsSet(gate));
}

TEST_F(IocpServerTest, ManyConnectionsLeaveNoHandle) {
    Start();
    const auto round = [this](int n) {
        CRawPipe client = Connect();
        ASSERT_TRUE(client.WriteFrame("text"));
        ASSERT_TRUE(m_pSink->WaitForPayloads(static_cast<std::size_t>(n)));
        client.Close();
        ASSERT_TRUE(m_pSink->WaitForLost(n));
    };
    round(1);
    const std::size_t nBefore = OwnHandleCount();
    ASSERT_GT(nBefore, 0u);
    for (int n = 2; n <= 100; ++n) {
        round(n);
    }
    const std::size_t nAfter = OwnHandleCount();
    EXPECT_LE(nAfter, nBefore + 3) << "handles before and after: " << nBefore << ", " << nAfter;
}

}  // namespace
