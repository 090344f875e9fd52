// The walk over the table when many callers have vanished at once, as the hang watchdog sees it: the main thread makes
// the walk, and a probe that it leaves unanswered for 15 seconds ends the process for every other caller, too.
#include <atomic>
#include <thread>
#include <vector>

#include "foundation/log.h"
#include "host/helper_host.h"
#include "host/message_window.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/raw_pipe.h"
#include "tests/unit/host/host_fixture.h"

namespace {

// A second for each of them would be more than the watchdog bears.
constexpr int kCallers = 20;
constexpr UINT kProbeMessage = 1384;
constexpr UINT kProbeMs = 15000;

// What the connections' workers say, and where they are held.
std::atomic<int> g_nArrived{0};
std::atomic<int> g_nReadsFailed{0};
HANDLE g_hGo = nullptr;
std::atomic<DWORD> g_nWorkMs{0};  // how long a worker is busy once it is let go

// Holds every worker at the beginning of a request.
void HoldWorkers(const wchar_t* text) {
    const std::wstring_view line(text);
    if (line.find(L"[CPipeClientCallback::ReceiveIPCMessage(") == 0 && line.ends_with(L"begin")) {
        g_nArrived.fetch_add(1);
        WaitForSingleObject(g_hGo, 2 * kTestWaitMs);
        Sleep(g_nWorkMs.load());
    } else if (line.find(L"[CClientContext::PostRead(") == 0 && line.find(L"bSuccess=0, error=109") != line.npos) {
        g_nReadsFailed.fetch_add(1);
    }
}

template <typename Condition>
bool Eventually(Condition condition) {
    for (DWORD waited = 0; !condition(); waited += 2) {
        if (waited >= kTestWaitMs) {
            return false;
        }
        Sleep(2);
    }
    return true;
}

class PruneWalkTest : public CHostFixture {
  protected:
    PruneWalkTest() : m_hGo(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        g_nArrived.store(0);
        g_nReadsFailed.store(0);
        g_nWorkMs.store(0);
        g_hGo = m_hGo.get();
    }
    ~PruneWalkTest() override {
        SetEvent(m_hGo.get());
        // No worker may meet the observer of another test.
        EXPECT_TRUE(Eventually([this] {
            for (const auto& pInstance : m_vecInstances) {
                if (!pInstance.expired()) {
                    return false;
                }
            }
            return true;
        }));
        SetLogObserver(nullptr);
    }

    // Many callers are served and have asked something, and each worker is held in its request.
    void HoldManyInARequest(int callers = kCallers) {
        StartHost();
        for (int i = 0; i < callers; ++i) {
            const std::string id = "many" + std::to_string(i);
            m_vecCallers.push_back(CRawPipe::Serve(ServicePipeName(m_mark, id), /*nMaxInstances=*/1));
            Receive(R"({"content":{"service_id":")" + id + R"(","p1":"{}"},"message_type":7})");
            ASSERT_TRUE(m_vecCallers.back().WaitForClient());
            ASSERT_TRUE(m_vecCallers.back().ReadFrame().has_value());
            m_vecInstances.push_back(m_host.FindInstance(id));
            // The watch over its pipe would tell in a minute.
            SetParam(id, kParamKeep, kDllGone, kParamKeep);
        }
        SetLogObserver(&HoldWorkers);
        for (CRawPipe& caller : m_vecCallers) {
            ASSERT_TRUE(caller.WriteFrame("{}"));
        }
        ASSERT_TRUE(Eventually([callers] { return g_nArrived.load() == callers; })) << g_nArrived.load();
    }

    // Makes the walk on this thread, the window's, under the watchdog's probe. False when the watchdog would end the
    // process.
    bool WalkUnderTheProbe() {
        const CKernelHandle hProbing(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        std::atomic<bool> bAnswered{false};
        std::atomic<bool> bDone{false};
        std::thread watchdog([&, window = g_hMsgWnd.load()] {
            SetEvent(hProbing.get());
            DWORD_PTR result = 0;
            bAnswered.store(SendMessageTimeoutW(window, kProbeMessage, 0, 0, SMTO_BLOCK, kProbeMs, &result) != 0);
            bDone.store(true);
        });
        WaitForSingleObject(hProbing.get(), kTestWaitMs);
        SendMessageW(g_hMsgWnd.load(), WM_TIMER, TIMER_ID_CHECK_EXIT, 0);
        while (!bDone.load()) {
            MSG message;
            PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE | PM_QS_SENDMESSAGE);
            Sleep(1);
        }
        watchdog.join();
        return bAnswered.load();
    }

    const CKernelHandle m_hGo;
    std::vector<CRawPipe> m_vecCallers;
    std::vector<std::weak_ptr<WxMiniProgramServiceEx>> m_vecInstances;
};

TEST_F(PruneWalkTest, CallersThatWentInTheMiddleOfARequestDoNotKeepTheMainThread) {
    ASSERT_NO_FATAL_FAILURE(HoldManyInARequest());
    m_vecCallers.clear();
    // The next read fails at once, so nothing more comes on the connection while its worker continues.
    SetEvent(m_hGo.get());
    ASSERT_TRUE(Eventually([] { return g_nReadsFailed.load() == kCallers; })) << g_nReadsFailed.load();
    EXPECT_TRUE(WalkUnderTheProbe());
    EXPECT_EQ(m_host.InstanceCount(), 1u) << "the fixture's own stays";
}

TEST_F(PruneWalkTest, WorkerThatIsNearlyDoneIsWaitedFor) {
    ASSERT_NO_FATAL_FAILURE(HoldManyInARequest(1));
    g_nWorkMs.store(100);
    SetEvent(m_hGo.get());
    SendMessageW(g_hMsgWnd.load(), WM_TIMER, TIMER_ID_CHECK_EXIT, 0);
    EXPECT_TRUE(m_vecInstances[0].expired()) << "its worker still runs";
}

TEST_F(PruneWalkTest, RequestsThatAreStillBeingHandledDoNotKeepTheMainThread) {
    ASSERT_NO_FATAL_FAILURE(HoldManyInARequest());
    EXPECT_TRUE(WalkUnderTheProbe());
    EXPECT_EQ(m_host.InstanceCount(), 1u) << "the fixture's own stays";
    for (CRawPipe& caller : m_vecCallers) {
        EXPECT_TRUE(caller.WaitForEnd()) << "every caller sees the end although its request is still being handled";
    }
}

}  // namespace
