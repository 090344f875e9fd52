// All the watchers of an instance at once, on threads of their own, against a host that drops the instance at any
// moment. Worth most under ThreadSanitizer.
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "service/watcher_threads.h"
#include "tests/unit/service/table_host.h"

namespace {

constexpr const char* kId = "42";

// Surroundings without time: every wait is over at once, and the pipe is gone at the third look.
class CHurriedEdge final : public IWatcherEdge {
  public:
    bool StopRequested() const override { return m_bStop.load(); }
    bool Wait(std::uint32_t) override { return !StopRequested(); }
    bool DoesNamedPipeExist(const std::wstring&) override { return m_nLooks.fetch_add(1) < 2; }
    void Fetch(const std::wstring&) override { m_nFetched.fetch_add(1); }

    std::atomic<bool> m_bStop{false};
    std::atomic<int> m_nLooks{0};
    std::atomic<int> m_nFetched{0};
};

class WatcherRaces : public testing::Test {
  protected:
    void MakeEntry(const IStopToken& stop) { m_host.SetInstanceParam(kId, {.strPipeName = L"pipe"}, stop); }

    void StartWatchers(CHurriedEdge& edge) {
        for (int i = 0; i < 2; ++i) {
            m_host.SetInstanceParam(kId, {.strRunStatusParam = "{}", .nInterval = 6000, .nTaskOp = kTaskAdd}, edge);
            m_vecThreads.emplace_back([this, &edge] {
                auto param = std::make_unique<InstanceParam>();
                param->strServiceId = kId;
                param->nInterval = 6000;
                DelayCheckWndThread(edge, m_host, std::move(param),
                                    R"({"successLog":["http://a","http://b"],"errorLog":["http://c"]})");
            });
        }
        m_vecThreads.emplace_back([this, &edge] { CheckzoltDLLThread(edge, m_host, kId); });
        m_vecThreads.emplace_back([this, &edge] { DelayedDestroyThread(edge, m_host, kId); });
    }

    void Join() {
        for (std::thread& one : m_vecThreads) {
            one.join();
        }
        m_vecThreads.clear();
    }

    CTableHost m_host;
    std::vector<std::thread> m_vecThreads;
};

TEST_F(WatcherRaces, AnInstanceIsFinishedOnceAllItsWatchersHaveReported) {
    for (int round = 0; round < 100; ++round) {
        CHurriedEdge edge;
        MakeEntry(edge);
        StartWatchers(edge);
        Join();
        const InstanceParam param = m_host.Param(kId);
        EXPECT_EQ(param.nDelayedTaskCount, 0);
        EXPECT_FALSE(param.bDLLWndExist);
        EXPECT_TRUE(param.bIsDelayedDestroy);
        EXPECT_EQ(edge.m_nFetched.load(), 2) << "each delayed check fetches its error URL";
        const CAutoLock lock(&m_host.m_lockParam);
        m_host.m_mInstanceParam.clear();
    }
}

TEST_F(WatcherRaces, AnInstanceDroppedAtAnyMomentLeavesTheNextOneOfItsIdAlone) {
    for (int round = 0; round < 300; ++round) {
        CHurriedEdge edge;
        CHurriedEdge edgeOfTheNext;
        MakeEntry(edge);
        StartWatchers(edge);
        // A little later each time; counted, so that a crowded machine does not make it long.
        for (std::atomic<int> n{0}; n.load() < round * 100;) {
            n.fetch_add(1);
        }
        {
            // As the host's walk does it: the stop and the erasing under both locks.
            const CAutoLock lockInstance(&m_host.m_lockInstance);
            const CAutoLock lockParam(&m_host.m_lockParam);
            edge.m_bStop.store(true);
            m_host.m_mInstanceParam.erase(kId);
        }
        MakeEntry(edgeOfTheNext);
        Join();
        const InstanceParam param = m_host.Param(kId);
        ASSERT_EQ(param.nDelayedTaskCount, 0) << "round " << round;
        ASSERT_TRUE(param.bDLLWndExist) << "round " << round;
        ASSERT_FALSE(param.bIsDelayedDestroy) << "round " << round;
        const CAutoLock lock(&m_host.m_lockParam);
        m_host.m_mInstanceParam.clear();
    }
}

}  // namespace
