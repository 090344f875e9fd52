// The real surroundings of the watcher threads: the wait and its stop, the probe of a pipe, the fetch.
#include "tests/support/http_test_server.h"  // Winsock comes first

#include "service/watcher_edge.h"

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/log_capture.h"
#include "tests/unit/service/caller_pipe.h"

namespace {

TEST(CWatcherEdgeTest, WaitsForTheWholeTime) {
    CWatcherEdge edge;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(edge.Wait(50));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));  // one tick of the clock off
    EXPECT_TRUE(edge.Wait(0));
}

TEST(CWatcherEdgeTest, AStopWakesEveryoneWhoWaits) {
    CWatcherEdge edge;
    std::vector<std::thread> waiting;
    std::atomic<int> stopped{0};
    for (const std::uint32_t time : {3600000U, 3600000U, 4294967291U, 4294967295U}) {
        waiting.emplace_back([&edge, &stopped, time] { stopped += edge.Wait(time) ? 0 : 1; });
    }
    edge.RequestStop();
    for (std::thread& thread : waiting) {
        thread.join();
    }
    EXPECT_EQ(stopped.load(), 4);
}

TEST(CWatcherEdgeTest, AStopAtTheMomentAThreadBeginsToWaitIsNotLost) {
    // Each time the stop comes at another moment between the look at it and the sleep.
    constexpr int kRounds = 20000;
    std::vector<std::unique_ptr<CWatcherEdge>> edges;
    for (int round = 0; round < kRounds; ++round) {
        edges.push_back(std::make_unique<CWatcherEdge>());
    }
    std::atomic<int> turn{-1};
    std::thread waiting([&] {
        for (int round = 0; round < kRounds; ++round) {
            turn.store(round);
            EXPECT_FALSE(edges[static_cast<std::size_t>(round)]->Wait(3600000));
        }
    });
    for (int round = 0; round < kRounds; ++round) {
        while (turn.load() < round) {
            std::this_thread::yield();
        }
        for (std::atomic<int> n{0}; n.load() < round % 100;) {
            n.fetch_add(1);
        }
        edges[static_cast<std::size_t>(round)]->RequestStop();
    }
    waiting.join();
}

TEST(CWatcherEdgeTest, AfterAStopNoThreadWaits) {
    CWatcherEdge edge;
    EXPECT_FALSE(edge.StopRequested());
    edge.RequestStop();
    EXPECT_TRUE(edge.StopRequested());
    EXPECT_FALSE(edge.Wait(3600000));
    EXPECT_FALSE(edge.Wait(0));
}

TEST(CWatcherEdgeTest, APipeWhoseInstancesAreAllTakenIsStillThere) {
    const std::wstring strName = L"\\\\.\\pipe\\NexletWatcherEdge_" + std::to_wstring(GetCurrentProcessId());
    CWatcherEdge edge;
    EXPECT_FALSE(edge.DoesNamedPipeExist(strName));
    {
        CCallerPipe caller(strName, L"");
        const CFileHandle hOther(
            CreateFileW(strName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(hOther.valid());
        const LogCapture log;
        EXPECT_TRUE(edge.DoesNamedPipeExist(strName));
        EXPECT_TRUE(log.Has("DoesNamedPipeExist , dwError=231")) << log.All();
    }
    EXPECT_FALSE(edge.DoesNamedPipeExist(strName));
}

TEST(CWatcherEdgeTest, FetchesAUrlWholeAndLogsItsStatus) {
    HttpTestServer server([](const HttpTestRequest&) { return HttpTestReply::Of(200, "a body that is not kept"); });
    const LogCapture log;
    CWatcherEdge edge;
    edge.Fetch(server.Url(L"/hit?a=1&b=%20"));
    ASSERT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(server.Requests()[0].strMethod, "GET");
    EXPECT_EQ(server.Requests()[0].strTarget, "/hit?a=1&b=%20");
    EXPECT_TRUE(log.Has("]HttpResponseCallback: dwStatus=200")) << log.All();
}

TEST(CWatcherEdgeTest, AFetchThatFailsIsALineInTheLog) {
    HttpTestServer server([](const HttpTestRequest&) { return HttpTestReply::Of(404, "gone"); });
    const LogCapture log;
    CWatcherEdge edge;
    edge.Fetch(server.Url(L"/missing"));
    edge.Fetch(L"no url at all");
    EXPECT_EQ(server.Requests().size(), 1U);
    EXPECT_EQ(log.Count("]HttpResponseCallback: lpRetData is NULL"), 1U) << log.All();
}

}  // namespace
