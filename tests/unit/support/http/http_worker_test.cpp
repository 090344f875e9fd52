// The worker of the shared object: order, loss, life and end.
#include "tests/unit/support/http/http_transfer_fixture.h"

#include <algorithm>

namespace {

class HttpWorkerTest : public testing::Test {
  protected:
    ScopedInternetProxy m_direct{0};
};

TEST_F(HttpWorkerTest, ANullObjectEndsTheThreadAtOnce) {
    EXPECT_EQ(COvHttpTransfer::WorkerThreadProc(nullptr), 0u);
}

TEST_F(HttpWorkerTest, TheSharedObjectIsMadeOnceAndWithoutAThread) {
    EXPECT_EQ(g_pSharedHttpTransfer.load(), nullptr);
    std::vector<std::thread> threads;
    std::atomic<COvHttpTransfer*> seen{nullptr};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            COvHttpTransfer* const made = GetSharedHttpTransfer();
            COvHttpTransfer* first = nullptr;
            EXPECT_TRUE(seen.compare_exchange_strong(first, made) || first == made);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(g_pSharedHttpTransfer.load(), seen.load());
    EXPECT_EQ(seen.load()->m_hThread.load(), nullptr);
    EXPECT_EQ(seen.load()->m_dwThreadId.load(), 0u);
}

TEST_F(HttpWorkerTest, AUrlPostedBeforeTheWorkerIsLostAndKeepsNothing) {
    COvHttpTransfer transfer;
    EXPECT_FALSE(transfer.PostUrl(L"http://127.0.0.1/"));
}

TEST_F(HttpWorkerTest, AUrlThatCannotBePostedIsNotKept) {
    // The id of this thread of the test, which has no queue.
    COvHttpTransfer transfer;
    const CKernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::atomic<DWORD> id{0};
    std::thread without([&] {
        id.store(GetCurrentThreadId());
        WaitForSingleObject(done.get(), INFINITE);
    });
    while (id.load() == 0) {
        SwitchToThread();
    }
    transfer.m_dwThreadId.store(id.load());
    HttpTestServer server(Always(HttpTestReply::Of(200)));
    EXPECT_FALSE(transfer.PostUrl(server.Url(L"/lost")));
    SetEvent(done.get());
    without.join();
    transfer.m_dwThreadId.store(0);
    ASSERT_TRUE(transfer.StartWorker());
    EXPECT_TRUE(transfer.PostUrl(server.Url(L"/after")));
    ASSERT_TRUE(server.WaitForRequests(1));
    EndHttpWorker(transfer);
    ASSERT_EQ(server.Requests().size(), 1u);
    EXPECT_EQ(server.Requests()[0].strTarget, "/after");
}

TEST_F(HttpWorkerTest, AUrlPostedRightAfterTheStartIsFetched) {
    for (int i = 0; i < 10; ++i) {
        HttpTestServer server(Always(HttpTestReply::Of(200)));
        COvHttpTransfer transfer;
        ASSERT_TRUE(transfer.StartWorker());
        EXPECT_TRUE(transfer.PostUrl(server.Url(L"/first")));
        EXPECT_TRUE(server.WaitForRequests(1));
        EndHttpWorker(transfer);
    }
}

TEST_F(HttpWorkerTest, ASecondStartLeavesTheFirstWorker) {
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    const DWORD id = transfer.m_dwThreadId.load();
    EXPECT_TRUE(transfer.StartWorker());
    EXPECT_EQ(transfer.m_dwThreadId.load(), id);
    EndHttpWorker(transfer);
}

TEST_F(HttpWorkerTest, TwoHundredUrlsArriveOnceEachAndInOrder) {
    HttpTestServer server(Always(HttpTestReply::Of(200)));
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(transfer.PostUrl(server.Url(L"/" + std::to_wstring(i))));
    }
    ASSERT_TRUE(server.WaitForRequests(200));
    EndHttpWorker(transfer);
    const std::vector<HttpTestRequest> requests = server.Requests();
    ASSERT_EQ(requests.size(), 200u);
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(requests[static_cast<std::size_t>(i)].strTarget, "/" + std::to_string(i));
    }
}

TEST_F(HttpWorkerTest, UrlsOfManyThreadsAllArrive) {
    HttpTestServer server(Always(HttpTestReply::Of(200)));
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 4; ++sender) {
        senders.emplace_back([&, sender] {
            for (int i = 0; i < 25; ++i) {
                EXPECT_TRUE(transfer.PostUrl(server.Url(L"/" + std::to_wstring(sender * 100 + i))));
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    ASSERT_TRUE(server.WaitForRequests(100));
    EndHttpWorker(transfer);
    // Each sender's own order holds.
    std::vector<int> next(4, 0);
    for (const HttpTestRequest& request : server.Requests()) {
        const int value = std::stoi(request.strTarget.substr(1));
        EXPECT_EQ(value % 100, next[static_cast<std::size_t>(value / 100)]++);
    }
}

TEST_F(HttpWorkerTest, ASlowServerDelaysAndLosesNone) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HttpTestServer slow([&](const HttpTestRequest&) {
        HttpTestReply reply = HttpTestReply::Of(200, "slow");
        reply.nBytesBeforeGate = 10;
        reply.hGate = gate.get();
        return reply;
    });
    HttpTestServer quick(Always(HttpTestReply::Of(200)));
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    EXPECT_TRUE(transfer.PostUrl(slow.Url(L"/slow")));
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(transfer.PostUrl(quick.Url(L"/" + std::to_wstring(i))));
    }
    ASSERT_TRUE(slow.WaitForRequests(1));
    EXPECT_TRUE(quick.Requests().empty()) << "one at a time";
    SetEvent(gate.get());
    EXPECT_TRUE(quick.WaitForRequests(20));
    EndHttpWorker(transfer);
}

TEST_F(HttpWorkerTest, AFailedFetchIsDroppedAndNotRepeated) {
    HttpTestServer broken(Always(HttpTestReply::Of(500)));
    HttpTestServer good(Always(HttpTestReply::Of(200)));
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    EXPECT_TRUE(transfer.PostUrl(broken.Url(L"/")));
    EXPECT_TRUE(transfer.PostUrl(L"no url at all"));
    EXPECT_TRUE(transfer.PostUrl(good.Url(L"/")));
    EXPECT_TRUE(good.WaitForRequests(1));
    EndHttpWorker(transfer);
    EXPECT_EQ(broken.Requests().size(), 1u);
    EXPECT_EQ(good.Requests().size(), 1u);
}

// A worker that waits for a gate inside a transfer.
class HeldWorkerTest : public HttpWorkerTest {
  protected:
    HeldWorkerTest() {
        EXPECT_TRUE(m_transfer.StartWorker());
        EXPECT_TRUE(m_transfer.PostUrl(m_slow.Url(L"/slow")));
        EXPECT_TRUE(m_slow.WaitForRequests(1));
    }
    ~HeldWorkerTest() override { SetEvent(m_gate.get()); }

    CKernelHandle m_gate{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    HttpTestServer m_slow{[this](const HttpTestRequest&) {
        HttpTestReply reply = HttpTestReply::Of(200, "slow");
        reply.nBytesBeforeGate = 10;
        reply.hGate = m_gate.get();
        return reply;
    }};
    HttpTestServer m_quick{Always(HttpTestReply::Of(200))};
    COvHttpTransfer m_transfer;
};

TEST_F(HeldWorkerTest, TenThousandUrlsMayWaitAndOneMoreIsLost) {
    for (int i = 0; i < 9999; ++i) {
        ASSERT_TRUE(m_transfer.PostUrl(L"no url at all")) << i;
    }
    EXPECT_TRUE(m_transfer.PostUrl(m_quick.Url(L"/last")));
    EXPECT_FALSE(m_transfer.PostUrl(m_quick.Url(L"/lost")));
    SetEvent(m_gate.get());
    ASSERT_TRUE(m_quick.WaitForRequests(1));
    EXPECT_TRUE(m_transfer.PostUrl(m_quick.Url(L"/after")));
    ASSERT_TRUE(m_quick.WaitForRequests(2));
    EndHttpWorker(m_transfer);
    ASSERT_EQ(m_quick.Requests().size(), 2u);
    EXPECT_EQ(m_quick.Requests()[0].strTarget, "/last");
    EXPECT_EQ(m_quick.Requests()[1].strTarget, "/after");
}

TEST_F(HttpWorkerTest, OtherMessagesAndAMessageWithoutUrlAreDropped) {
    HttpTestServer server(Always(HttpTestReply::Of(200)));
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    const DWORD id = transfer.m_dwThreadId.load();
    EXPECT_TRUE(PostThreadMessageW(id, WM_HTTP_FETCH_URL, 0, 0));
    EXPECT_TRUE(PostThreadMessageW(id, WM_HTTP_FETCH_URL + 1, 1, 1));
    EXPECT_TRUE(PostThreadMessageW(id, WM_CLOSE, 1, 1));
    EXPECT_TRUE(transfer.PostUrl(server.Url(L"/behind")));
    EXPECT_TRUE(server.WaitForRequests(1));
    EndHttpWorker(transfer);
}

TEST_F(HttpWorkerTest, TheWorkersEndSignalsTheStopEventAndGivesUpItsHandle) {
    COvHttpTransfer transfer;
    ASSERT_TRUE(transfer.StartWorker());
    EndHttpWorker(transfer);
    EXPECT_EQ(transfer.m_hThread.load(), nullptr);
    EXPECT_EQ(WaitForSingleObject(transfer.m_hStopEvent.get(), 0), WAIT_OBJECT_0);
    EXPECT_FALSE(transfer.PostUrl(L"http://127.0.0.1/")) << "no worker would fetch it";
    EXPECT_TRUE(transfer.StartWorker()) << "and it can be started again";
    EndHttpWorker(transfer);
}

TEST_F(HttpWorkerTest, TheDestructorStopsATransferAndWaitsForAWorkerThatEnds) {
    const CKernelHandle gate(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    HttpTestServer server([&](const HttpTestRequest&) {
        HttpTestReply reply = HttpTestReply::Of(200, std::string(50000, 'b'));
        reply.nBytesBeforeGate = 20000;
        reply.hGate = gate.get();
        return reply;
    });
    auto transfer = std::make_unique<COvHttpTransfer>();
    ASSERT_TRUE(transfer->StartWorker());
    EXPECT_TRUE(transfer->PostUrl(server.Url(L"/")));
    ASSERT_TRUE(server.WaitForRequests(1));
    HANDLE thread = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), transfer->m_hThread.load(), GetCurrentProcess(), &thread, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    const CKernelHandle watched(thread);
    ASSERT_TRUE(PostThreadMessageW(transfer->m_dwThreadId.load(), WM_QUIT, 0, 0));
    std::thread opener([&] { SetEvent(gate.get()); });
    transfer.reset();
    opener.join();
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0) << "it was waited for";
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, 0u) << "it ended by itself";
}

// Takes the whole fifteen seconds: a worker that waits for URLs does not see the stop.
TEST_F(HttpWorkerTest, TheDestructorTerminatesAWorkerThatWaitsForUrls) {
    auto transfer = std::make_unique<COvHttpTransfer>();
    ASSERT_TRUE(transfer->StartWorker());
    HANDLE thread = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), transfer->m_hThread.load(), GetCurrentProcess(), &thread, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    const CKernelHandle watched(thread);
    transfer.reset();
    ASSERT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, 0xFFFFFFF6u);
}

// Made and destroyed many times, an object leaves no handle.
TEST_F(HttpWorkerTest, ObjectsLeaveNoHandles) {
    HttpTestServer server(Always(HttpTestReply::Of(200)));
    const auto fetch = [&] {
        COvHttpTransfer transfer;
        transfer.SetRequest(server.Url(L"/").c_str(), nullptr, nullptr);
        EXPECT_EQ(transfer.Execute(), 200);
    };
    for (int i = 0; i < 5; ++i) {
        fetch();
    }
    // The server keeps a thread for each connection to its end, which is why the objects alone are counted.
    DWORD before = 0;
    DWORD after = 0;
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &before));
    for (int i = 0; i < 1000; ++i) {
        COvHttpTransfer transfer;
        transfer.SetRequest(L"http://h/", nullptr, nullptr);
    }
    EXPECT_TRUE(GetProcessHandleCount(GetCurrentProcess(), &after));
    EXPECT_LT(after, before + 100);
}

}  // namespace
