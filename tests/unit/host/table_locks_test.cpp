// What keeps a watcher that was told to stop from writing the host's tables: the stop is looked at under the lock of
// the table it wants to change, and an instance is ended under both.
#include <atomic>
#include <functional>
#include <string_view>
#include <thread>

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/message_window.h"
#include "tests/support/allocation_watch.h"
#include "tests/support/json_of.h"
#include "tests/support/raw_pipe.h"
#include "tests/unit/host/host_fixture.h"

namespace {

// How long a thread that nothing holds up may take to show that. A thread that is held up is seen to be, however long
// it is.
constexpr DWORD kShowsMs = 300;

// Runs a call on another thread and says whether it was still waiting after a while. The thread ends later, in Join.
class CHeldUp {
  public:
    ~CHeldUp() { Join(); }
    bool IsHeldUp(std::function<void()> call) {
        m_thread = std::thread([this, call = std::move(call)] {
            call();
            SetEvent(m_hThrough.get());
        });
        return WaitForSingleObject(m_hThrough.get(), kShowsMs) == WAIT_TIMEOUT;
    }
    void Join() {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

  private:
    const CKernelHandle m_hThrough{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::thread m_thread;
};

// Calls something when it is asked.
class CAskedStop final : public IStopToken {
  public:
    CAskedStop(bool bStopped, std::function<void()> onAsked) : m_bStopped(bStopped), m_onAsked(std::move(onAsked)) {}
    bool StopRequested() const override {
        m_onAsked();
        return m_bStopped;
    }

  private:
    const bool m_bStopped;
    const std::function<void()> m_onAsked;
};

std::function<void()> g_onDestruct;

void ObserveDestruct(const wchar_t* text) {
    if (std::wstring_view(text).find(L"begin destruct strServiceId = first") != std::wstring_view::npos) {
        g_onDestruct();
    }
}

class TableLocksTest : public CHostFixture {
  protected:
    TableLocksTest() { StartHost(); }

    void LookAtTheRecord() {
        InstanceParam param;
        m_host.GetInstanceParam("first", param);
    }
};

TEST_F(TableLocksTest, AReportLooksAtTheStopUnderTheLockOfTheRecords) {
    CHeldUp other;
    bool bHeldUp = false;
    const CAskedStop stop(/*bStopped=*/false, [&] { bHeldUp = other.IsHeldUp([this] { LookAtTheRecord(); }); });
    EXPECT_TRUE(m_host.SetInstanceParam("first", {.nTaskOp = kTaskAdd}, stop));
    EXPECT_TRUE(bHeldUp) << "another thread could erase the record between the look and the write";
}

TEST_F(TableLocksTest, AReportOfAStoppedWatcherNeitherChangesNorMakesARecord) {
    const CAskedStop stop(/*bStopped=*/true, [] {});
    EXPECT_FALSE(
        m_host.SetInstanceParam("first", {.nTaskOp = kTaskAdd, .nDllOp = kDllGone, .nDestroyOp = kDestroyNow}, stop));
    InstanceParam param;
    ASSERT_TRUE(m_host.GetInstanceParam("first", param));
    EXPECT_EQ(param.nDelayedTaskCount, 0);
    EXPECT_TRUE(param.bDLLWndExist);
    EXPECT_FALSE(param.bIsDelayedDestroy);
    EXPECT_FALSE(m_host.SetInstanceParam("erased", {.nTaskOp = kTaskAdd}, stop));
    EXPECT_FALSE(m_host.GetInstanceParam("erased", param));
}

TEST_F(TableLocksTest, APollLooksAtTheStopUnderTheLockOfTheInstances) {
    CHeldUp other;
    bool bHeldUp = false;
    const CAskedStop stop(/*bStopped=*/false, [&] { bHeldUp = other.IsHeldUp([this] { m_host.InstanceCount(); }); });
    std::string result;
    m_host.OpenMiniAppSuccessfullyByServiceId("first", "{}", result, /*bLastCall=*/true, stop);
    EXPECT_TRUE(bHeldUp) << "the instance could be another one of its id by the time it is asked";
    EXPECT_NE(result, "");
}

// The text is as long as its caller made it, and the main thread's walk takes the lock.
TEST_F(TableLocksTest, APollReadsItsTextBeforeTheLockOfTheInstances) {
    constexpr std::size_t kLetters = 54321;
    const std::string text = "{\"long\":\"" + std::string(kLetters, 'x') + "\"}";
    const CKernelHandle hThrough(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    bool bFree = false;
    std::thread other;
    std::string result;
    {
        const CAllocationWatch watch(ReaderAllocation(kLetters), [&] {
            other = std::thread([&] {
                m_host.InstanceCount();
                SetEvent(hThrough.get());
            });
            bFree = WaitForSingleObject(hThrough.get(), kTestWaitMs) == WAIT_OBJECT_0;
        });
        m_host.OpenMiniAppSuccessfullyByServiceId("first", text, result, /*bLastCall=*/true, CNeverStops());
    }
    ASSERT_TRUE(other.joinable()) << "the text was not read";
    other.join();
    EXPECT_TRUE(bFree);
    EXPECT_EQ(result, "not from");
}

TEST_F(TableLocksTest, AnExitRequestLooksAtTheStopUnderTheLockOfTheInstances) {
    CHeldUp other;
    bool bHeldUp = false;
    const CAskedStop stop(/*bStopped=*/false, [&] { bHeldUp = other.IsHeldUp([this] { m_host.InstanceCount(); }); });
    m_host.DestroyWxServiceItme(CRequestOf(9, R"({"service_id":"first"})"), stop);
    EXPECT_TRUE(bHeldUp) << "the instance could be another one of its id by the time it is let go";
    EXPECT_TRUE(m_log.Has("DelayedDestroy begin")) << m_log.All();
}

TEST_F(TableLocksTest, AnExitRequestOfAStoppedInstanceDestroysNothing) {
    const CAskedStop stop(/*bStopped=*/true, [] {});
    m_host.DestroyWxServiceItme(CRequestOf(9, R"({"service_id":"first"})"), stop);
    EXPECT_TRUE(m_log.Has("DestroyWxServiceItme begin")) << m_log.All();
    EXPECT_FALSE(m_log.Has("DelayedDestroy begin")) << m_log.All();
    EXPECT_FALSE(m_log.Has("DestroyWxServiceItme end")) << m_log.All();
}

TEST_F(TableLocksTest, TheWalkEndsAnInstanceUnderBothLocks) {
    SetParam("first", kParamKeep, kDllGone, kParamKeep);
    CHeldUp instances;
    CHeldUp records;
    bool bInstancesHeldUp = false;
    bool bRecordsHeldUp = false;
    g_onDestruct = [&] {
        bInstancesHeldUp = instances.IsHeldUp([this] { m_host.InstanceCount(); });
        bRecordsHeldUp = records.IsHeldUp([this] { LookAtTheRecord(); });
    };
    SetLogObserver(&ObserveDestruct);
    SendMessageW(g_hMsgWnd.load(), WM_TIMER, TIMER_ID_CHECK_EXIT, 0);
    SetLogObserver(nullptr);
    EXPECT_TRUE(bInstancesHeldUp) << "a request could make the next instance of this id before this one is stopped";
    EXPECT_TRUE(bRecordsHeldUp) << "a watcher that has not seen the stop could make the record again";
    InstanceParam param;
    EXPECT_FALSE(m_host.GetInstanceParam("first", param));
}

}  // namespace
