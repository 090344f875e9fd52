// An instance that is dropped while something of it still runs. The host is held at the very moment that matters.
#include <atomic>

#include "tests/support/allocation_watch.h"
#include "tests/support/json_of.h"
#include "tests/unit/service/service_fixture.h"

namespace {

class ServiceLifetimeTest : public ServiceFixture {
  protected:
    ServiceLifetimeTest()
        : m_hArrived(CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_hGo(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        m_host.m_onSet = [this] {
            if (m_bHolds.exchange(false)) {
                SetEvent(m_hArrived.get());
                WaitForSingleObject(m_hGo.get(), 30000);
            }
        };
    }

    // From now on a thread that wants to change the table reports here and waits, once.
    void HoldTheNextReport() { m_bHolds.store(true); }
    bool AThreadArrived() { return WaitForSingleObject(m_hArrived.get(), 30000) == WAIT_OBJECT_0; }

    // Drops the instance as the prune walk does, with both locks held, and makes a new one under the same id.
    void Recreate() {
        const CAutoLock instances(&m_host.m_lockInstance);
        {
            const CAutoLock params(&m_host.m_lockParam);
            m_pInstance->Destroy();
            m_host.m_mInstanceParam.erase(m_strId);
            m_pInstance.reset();
        }
        m_pInstance = WxMiniProgramServiceEx::Create(m_strId, &m_host);
        Init();
    }

    // The new instance's entry is as Init made it.
    void ExpectUntouchedEntry() {
        ASSERT_TRUE(m_host.HasParam(m_strId));
        const InstanceParam param = m_host.Param(m_strId);
        EXPECT_EQ(param.nInterval, 0);
        EXPECT_EQ(param.nDelayedTaskCount, 0);
        EXPECT_TRUE(param.bDLLWndExist);
        EXPECT_FALSE(param.bIsDelayedDestroy);
        EXPECT_EQ(param.strRunStatusParam, "");
    }

    std::atomic<bool> m_bHolds{false};
    CKernelHandle m_hArrived;
    CKernelHandle m_hGo;
};

TEST_F(ServiceLifetimeTest, DestroyWakesEveryWaitingWatcherAndWaitsForNone) {
    Init();
    for (int i = 0; i < 3; ++i) {
        m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":600000}"})"));
        m_pInstance->DelayedDestroy();
    }
    // The watch over the pipe, three checks and three delayed destroys.
    ASSERT_TRUE(Eventually([this] { return ThreadCount() == m_nThreads + 7; })) << ThreadCount();
    m_pInstance->Destroy();
    EXPECT_TRUE(NoThreadLeft()) << ThreadCount();
    EXPECT_EQ(m_host.Param(m_strId).nDelayedTaskCount, 3);
    EXPECT_FALSE(m_host.Param(m_strId).bIsDelayedDestroy);
    EXPECT_TRUE(m_host.Asks().empty());
}

TEST_F(ServiceLifetimeTest, DestroyWithBothLocksHeldIsNotHeldUpByAReport) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":10}"})"));
    m_pInstance->DelayedDestroy();
    {
        const CAutoLock instances(&m_host.m_lockInstance);
        const CAutoLock params(&m_host.m_lockParam);
        // The report of the delayed destroy waits for the parameter lock by now or will in a moment.
        m_pInstance->Destroy();
        m_host.m_mInstanceParam.erase(m_strId);
        m_pInstance.reset();
    }
    EXPECT_TRUE(NoThreadLeft());
    EXPECT_FALSE(m_host.HasParam(m_strId));
}

TEST_F(ServiceLifetimeTest, ALateReportDoesNotTouchANewInstanceUnderTheSameId) {
    Init();
    m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":20}"})"));
    ASSERT_TRUE(WaitForLine("DelayCheckWndThread begin")) << m_log.All();
    m_pInstance->DelayedDestroy();
    HoldTheNextReport();
    ASSERT_TRUE(AThreadArrived()) << m_log.All();
    Recreate();
    SetEvent(m_hGo.get());
    // The old instance's threads end; the new one's watch stays.
    EXPECT_TRUE(Eventually([this] { return ThreadCount() == m_nThreads + 1; })) << ThreadCount();
    ExpectUntouchedEntry();
    EXPECT_FALSE(m_log.Has("DelayedDestroyThread end, strServiceId = 42")) << m_log.All();
}

TEST_F(ServiceLifetimeTest, ARequestThatOutlastsItsInstanceFindsItAliveAndChangesNothing) {
    Connect();
    const std::weak_ptr<WxMiniProgramServiceEx> pOld = m_pInstance;
    HoldTheNextReport();
    m_pCaller->Request(MessageType::S_MT_DelayCheckWndStatus, R"({"p1":"{\"interval\":5000}"})");
    ASSERT_TRUE(AThreadArrived()) << m_log.All();
    Recreate();
    EXPECT_FALSE(pOld.expired()) << "the worker is in a handler of it";
    SetEvent(m_hGo.get());
    EXPECT_TRUE(Eventually([&pOld] { return pOld.expired(); }));
    EXPECT_TRUE(Eventually([this] { return ThreadCount() == m_nThreads + 1; })) << ThreadCount();
    ExpectUntouchedEntry();
    EXPECT_FALSE(m_log.Has("DelayCheckWndThread begin")) << m_log.All();
}

TEST_F(ServiceLifetimeTest, AnExitRequestThatOutlastsItsInstanceDestroysNoSuccessor) {
    m_host.m_onDestroyRequest = [this](const std::string&) {
        SetEvent(m_hArrived.get());
        WaitForSingleObject(m_hGo.get(), 30000);
    };
    std::atomic<int> nDestroyed{0};
    m_host.m_onDestroy = [&nDestroyed] { nDestroyed.fetch_add(1); };
    Connect();
    const std::weak_ptr<WxMiniProgramServiceEx> pOld = m_pInstance;
    m_pCaller->Request(MessageType::S_MT_ExitExeProcess, R"({"service_id":"42"})");
    ASSERT_TRUE(AThreadArrived()) << m_log.All();
    Recreate();
    SetEvent(m_hGo.get());
    EXPECT_TRUE(Eventually([&pOld] { return pOld.expired(); }));
    EXPECT_EQ(nDestroyed.load(), 0) << "the request was meant for the instance before";
    m_pInstance->DestroyWxServiceItme(CRequestOf(9, R"({"service_id":"42"})"));
    EXPECT_EQ(nDestroyed.load(), 1);
}

// The end of an instance takes the lock of its fields with both locks of the host held, on the thread that answers the
// hang watchdog: whatever is done under it must not take its time from a caller's text.
TEST_F(ServiceLifetimeTest, TheTextOfADelayedCheckIsReadWithoutTheLockOfTheFields) {
    Init();
    constexpr std::size_t kLetters = 54321;
    const std::string body = R"({"p1":"{\"interval\":5000,\"long\":\")" + std::string(kLetters, 'x') + R"(\"}"})";
    bool bFree = false;
    std::thread other;
    {
        const CAllocationWatch watch(ReaderAllocation(kLetters), [this, &bFree, &other] {
            other = std::thread([this] {
                m_pInstance->GetService();
                SetEvent(m_hArrived.get());
            });
            bFree = AThreadArrived();
        });
        m_pInstance->DelayCheckWndStatus(CRequestOf(8, body));
    }
    ASSERT_TRUE(other.joinable()) << "the text was not read";
    other.join();
    EXPECT_TRUE(bFree);
    EXPECT_EQ(m_host.Param(m_strId).nInterval, 5000);
}

TEST_F(ServiceLifetimeTest, ACallerThatWentInTheMiddleOfARequestCostsTheEndOfItsInstanceNoWait) {
    m_host.m_onDestroyRequest = [this](const std::string&) {
        SetEvent(m_hArrived.get());
        WaitForSingleObject(m_hGo.get(), 30000);
    };
    Connect();
    m_pCaller->Request(MessageType::S_MT_ExitExeProcess, R"({"service_id":"42"})");
    ASSERT_TRUE(AThreadArrived()) << m_log.All();
    m_pCaller->Close();
    SetEvent(m_hGo.get());
    // The read after the request fails at once; that ends the connection and leaves the worker.
    ASSERT_TRUE(WaitForLine("]Disconnected from server!")) << m_log.All();
    std::atomic<bool> bDestroyed{false};
    std::thread host([this, &bDestroyed] {
        // A thread that waits for a worker that nothing wakes would wait all of this.
        m_pInstance->Destroy(2 * 30000);
        bDestroyed.store(true);
    });
    EXPECT_TRUE(Eventually([&bDestroyed] { return bDestroyed.load(); }));
    host.join();
}

TEST_F(ServiceLifetimeTest, AHandlerThatWaitsForTheInstanceLockDoesNotHoldUpItsEnd) {
    m_host.m_onDestroyRequest = [this](const std::string&) {
        SetEvent(m_hArrived.get());
        const CAutoLock guard(&m_host.m_lockInstance);
    };
    Connect();
    const std::weak_ptr<WxMiniProgramServiceEx> pOld = m_pInstance;
    {
        const CAutoLock instances(&m_host.m_lockInstance);
        m_pCaller->Request(MessageType::S_MT_ExitExeProcess, R"({"service_id":"42"})");
        ASSERT_TRUE(AThreadArrived()) << m_log.All();
        // Gives up on the worker after its second, although the worker cannot go on before the lock is free.
        Drop();
        EXPECT_FALSE(pOld.expired());
    }
    EXPECT_TRUE(Eventually([&pOld] { return pOld.expired(); }));
}

TEST_F(ServiceLifetimeTest, AReplyOfARequestThatOutlastsItsInstanceIsNotSent) {
    m_host.m_onDestroyRequest = [this](const std::string&) {
        const auto pSelf = m_pInstance;
        SetEvent(m_hArrived.get());
        WaitForSingleObject(m_hGo.get(), 30000);
        pSelf->OpenMiniApp(CRequestOf(6, R"({"service_id":"42","p1":{}})"));
    };
    Connect();
    m_pCaller->Request(MessageType::S_MT_ExitExeProcess, R"({"service_id":"42"})");
    ASSERT_TRUE(AThreadArrived()) << m_log.All();
    Drop();
    SetEvent(m_hGo.get());
    EXPECT_TRUE(WaitForLine("service ipc not init")) << m_log.All();
    EXPECT_EQ(m_pCaller->Receive(), std::nullopt);
}

TEST_F(ServiceLifetimeTest, TheInstanceCanBeEnteredFromTheHostAndItsOwnWorkerAtOnce) {
    Connect();
    std::thread host([this] {
        for (int i = 0; i < 50; ++i) {
            m_pInstance->DelayCheckWndStatus(CRequestOf(8, R"({"p1":"{\"interval\":600000,\"by\":\"the host\"}"})"));
            m_pInstance->DelayedDestroy();
            m_pInstance->RunStatusParam();
        }
    });
    for (int i = 0; i < 50; ++i) {
        m_pCaller->Request(MessageType::S_MT_DelayCheckWndStatus,
                           R"({"p1":"{\"interval\":500000,\"by\":\"the worker\"}"})");
        m_pCaller->Request(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, R"({"service_id":"42","p1":{}})");
        EXPECT_TRUE(m_pCaller->Receive().has_value());
    }
    host.join();
    EXPECT_EQ(m_host.Param(m_strId).nDelayedTaskCount, 100);
}

}  // namespace
