#include "host/watchdogs.h"

#include <cstring>
#include <vector>

#include "foundation/late_library.h"
#include "host/cpu_sample.h"
#include "host/message_window.h"
#include "tests/unit/host/host_fixture.h"

namespace {

constexpr double kFailedSample = -1;

// The surroundings of the CPU watchdog: hands out the samples and counts what is done.
struct CpuWatch {
    std::vector<double> vecSamples;
    std::size_t nNext = 0;
    std::vector<DWORD> vecPauses;
    int nKills = 0;

    void Run(const CommzoltHelperS& host) { RunCpuWatch({&Pause, &Sample, &Kill, this, &host}); }

  private:
    static bool Pause(void* context, DWORD milliseconds) {
        auto* self = static_cast<CpuWatch*>(context);
        self->vecPauses.push_back(milliseconds);
        return self->nNext < self->vecSamples.size();
    }
    static bool Sample(void* context, double& usage) {
        auto* self = static_cast<CpuWatch*>(context);
        const double sample = self->vecSamples[self->nNext++];
        if (sample == kFailedSample) {
            return false;
        }
        usage = sample;
        return true;
    }
    static void Kill(void* context) { ++static_cast<CpuWatch*>(context)->nKills; }
};

class CpuWatchTest : public CHostFixture {
  protected:
    // How many WM_CLOSE wait in this thread's queue.
    static int TakeCloseMessages() {
        int count = 0;
        MSG message;
        while (PeekMessageW(&message, g_hMsgWnd.load(), WM_CLOSE, WM_CLOSE, PM_REMOVE)) {
            ++count;
        }
        return count;
    }

    std::size_t Beacons() const {
        std::size_t count = 0;
        for (const std::string& line : m_log.Lines()) {
            count += line.find("/static/a/1663.6932.gif") != std::string::npos ? 1 : 0;
        }
        return count;
    }

    CpuWatch m_watch;
};

TEST_F(CpuWatchTest, SixBreachesGiveOneBeaconAndOneClose) {
    StartHost();
    m_watch.vecSamples.assign(6, 15.0);
    m_watch.Run(m_host);
    EXPECT_EQ(TakeCloseMessages(), 1);
    EXPECT_EQ(Beacons(), 1u) << m_log.All();
    EXPECT_NE(m_log.Find("/static/a/1663.6932.gif?_referer=15.000000 sync : 0"), "") << m_log.All();
    EXPECT_EQ(m_watch.nKills, 0);
    EXPECT_EQ(m_watch.vecPauses, std::vector<DWORD>(7, 10000));
}

TEST_F(CpuWatchTest, LowSampleBetweenTwoRunsGivesNothing) {
    StartHost();
    m_watch.vecSamples = {90, 90, 90, 90, 90, 1, 90, 90, 90, 90, 90};
    m_watch.Run(m_host);
    EXPECT_EQ(TakeCloseMessages(), 0);
    EXPECT_EQ(Beacons(), 0u) << m_log.All();
}

TEST_F(CpuWatchTest, FailedSampleLeavesTheRunUnbroken) {
    StartHost();
    m_watch.vecSamples = {90, 90, 90, kFailedSample, 90, 90, 90};
    m_watch.Run(m_host);
    EXPECT_EQ(TakeCloseMessages(), 1);
}

TEST_F(CpuWatchTest, MainThreadThatDoesNotActIsKilledInTheTwelfthRound) {
    StartHost();
    m_watch.vecSamples.assign(12, 50.5);
    m_watch.Run(m_host);
    EXPECT_EQ(TakeCloseMessages(), 6);
    EXPECT_EQ(Beacons(), 7u) << m_log.All();
    EXPECT_NE(m_log.Find("/static/a/1663.6932.gif?_referer=50.500000_C12 sync : 0"), "") << m_log.All();
    EXPECT_EQ(m_watch.nKills, 1);
}

TEST_F(CpuWatchTest, WithoutAWindowOnlyTheKillIsLeft) {
    m_watch.vecSamples.assign(12, 50);
    m_watch.Run(m_host);
    EXPECT_EQ(m_log.Count("strExeTitle is empty"), 6u) << m_log.All();
    EXPECT_EQ(Beacons(), 1u) << m_log.All();
    EXPECT_EQ(m_watch.nKills, 1);
}

TEST_F(CpuWatchTest, WindowThatCouldNotBeMadeIsLogged) {
    StartHost();
    g_hWnd.store(nullptr);
    m_watch.vecSamples.assign(6, 50);
    m_watch.Run(m_host);
    EXPECT_NE(m_log.Find("FindWindow failed.strExeTitle=ProgramIPCMessageS_"), "") << m_log.All();
    EXPECT_EQ(Beacons(), 0u) << m_log.All();
}

NtQuerySystemInformationFunction SystemQuery() {
    NtQuerySystemInformationFunction query = nullptr;
    EXPECT_TRUE(ResolveFunction(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation", query));
    return query;
}

TEST_F(CpuWatchTest, RealSampleIsAShareOfTheMachine) {
    double usage = -5;
    ASSERT_TRUE(CalculateCpuUsage(GetCurrentProcessId(), SystemQuery(), &usage)) << m_log.All();
    EXPECT_GE(usage, 0.0);
    EXPECT_LE(usage, 110.0);
    EXPECT_NE(m_log.Find("CPU Usage for process " + std::to_string(GetCurrentProcessId()) + ": "), "") << m_log.All();
}

int g_nQueries = 0;
std::vector<ULONG> g_vecSizes;

TEST_F(CpuWatchTest, FailedQueryIsLoggedAndLeavesTheValueAlone) {
    double usage = -5;
    const auto query = [](ULONG, void*, ULONG, ULONG*) NTAPI -> LONG { return static_cast<LONG>(0xC0000022); };
    EXPECT_FALSE(CalculateCpuUsage(1, query, &usage));
    EXPECT_EQ(usage, -5);
    EXPECT_TRUE(m_log.Has("NtQuerySystemInformation failed with status 0xC0000022")) << m_log.All();
}

TEST_F(CpuWatchTest, ListOfProcessesGrowsUntilItFits) {
    g_nQueries = 0;
    g_vecSizes.clear();
    const auto query = [](ULONG infoClass, void*, ULONG size, ULONG*) NTAPI -> LONG {
        if (infoClass == 5) {
            g_vecSizes.push_back(size);
            return size < 200000 ? static_cast<LONG>(0xC0000004) : 0;
        }
        return 0;
    };
    double usage = -5;
    // No processor time passes in this system.
    EXPECT_FALSE(CalculateCpuUsage(1, query, &usage));
    EXPECT_TRUE(m_log.Has("Failed to calculate CPU usage.")) << m_log.All();
    EXPECT_EQ(g_vecSizes, (std::vector<ULONG>{65536, 131072, 262144, 262144}));
}

TEST_F(CpuWatchTest, SecondListThatNoLongerFitsFailsTheSample) {
    g_nQueries = 0;
    const auto query = [](ULONG infoClass, void*, ULONG, ULONG*) NTAPI -> LONG {
        return infoClass == 5 && ++g_nQueries == 2 ? static_cast<LONG>(0xC0000004) : 0;
    };
    double usage = -5;
    EXPECT_FALSE(CalculateCpuUsage(1, query, &usage));
    EXPECT_TRUE(m_log.Has("NtQuerySystemInformation failed with status 0xC0000004")) << m_log.All();
    EXPECT_EQ(g_nQueries, 2);
}

// The surroundings of the hang watchdog.
struct HangWatch {
    std::vector<bool> vecAnswers;  // of each probe; the loop ends after the last one
    DWORD_PTR nResult = 0;
    std::size_t nProbes = 0;
    DWORD nError = ERROR_TIMEOUT;
    std::uint64_t nProbeMs = 15000;  // what passes during a probe while the machine is awake
    std::uint64_t nAwakeMs = 0;
    int nPauses = 0;
    int nKills = 0;

    void Run() { RunHangWatch({&Pause, &Probe, &Kill, &AwakeMs, this}); }

  private:
    static bool Pause(void* context, DWORD milliseconds) {
        auto* self = static_cast<HangWatch*>(context);
        EXPECT_EQ(milliseconds, 1000u);
        return static_cast<std::size_t>(++self->nPauses) < self->vecAnswers.size();
    }
    static bool Probe(void* context, HWND window, DWORD_PTR& result) {
        auto* self = static_cast<HangWatch*>(context);
        EXPECT_EQ(window, g_hMsgWnd.load());
        result = self->nResult;
        self->nAwakeMs += self->nProbeMs;
        SetLastError(self->nError);
        return self->vecAnswers[self->nProbes++];
    }
    static void Kill(void* context) { ++static_cast<HangWatch*>(context)->nKills; }
    static std::uint64_t AwakeMs(void* context) { return static_cast<HangWatch*>(context)->nAwakeMs; }
};

class HangWatchTest : public CHostFixture {
  protected:
    HangWatch m_watch;
};

TEST_F(HangWatchTest, AnsweredProbesGoOn) {
    StartHost();
    m_watch.vecAnswers = {true, true, true};
    m_watch.Run();
    EXPECT_EQ(m_watch.nProbes, 3u);
    EXPECT_EQ(m_watch.nKills, 0);
    EXPECT_EQ(m_log.Count("start hang check."), 3u) << m_log.All();
    EXPECT_EQ(m_log.Find("HangWatcherThreadFunc success"), "") << m_log.All();
}

TEST_F(HangWatchTest, AnswerOtherThanZeroIsLogged) {
    StartHost();
    m_watch.vecAnswers = {true};
    m_watch.nResult = 7;
    m_watch.Run();
    EXPECT_TRUE(m_log.Has("HangWatcherThreadFunc success return value=7")) << m_log.All();
}

TEST_F(HangWatchTest, FirstUnansweredProbeKills) {
    StartHost();
    m_watch.vecAnswers = {true, false};
    m_watch.Run();
    EXPECT_EQ(m_watch.nKills, 1);
    EXPECT_TRUE(m_log.Has("wnd Hang error time is 0 last error 1460") ||
                m_log.Has("wnd Hang error time is 1 last error 1460"))
        << m_log.All();
    EXPECT_NE(m_log.Find("/static/a/1663.1965.gif sync : 0"), "") << m_log.All();
}

TEST_F(HangWatchTest, ProbeThatTheMachineSleptThroughIsMadeAgain) {
    StartHost();
    m_watch.vecAnswers = {false, true};
    m_watch.nProbeMs = 13000;
    m_watch.Run();
    EXPECT_EQ(m_watch.nProbes, 2u);
    EXPECT_EQ(m_watch.nKills, 0);
    EXPECT_EQ(m_log.Find("wnd Hang error"), "") << m_log.All();
}

TEST_F(HangWatchTest, ProbeThatFailsForAnotherReasonKillsAtOnce) {
    StartHost();
    m_watch.vecAnswers = {false};
    m_watch.nProbeMs = 0;
    m_watch.nError = ERROR_INVALID_WINDOW_HANDLE;
    m_watch.Run();
    EXPECT_EQ(m_watch.nKills, 1);
    EXPECT_TRUE(m_log.Has("wnd Hang error time is 0 last error 1400") ||
                m_log.Has("wnd Hang error time is 1 last error 1400"))
        << m_log.All();
}

TEST_F(HangWatchTest, PausedWatchProbesNothing) {
    StartHost();
    g_bHangCheckPaused.store(1);
    m_watch.vecAnswers = {false, false};
    m_watch.Run();
    g_bHangCheckPaused.store(0);
    EXPECT_EQ(m_watch.nProbes, 0u);
    EXPECT_EQ(m_watch.nPauses, 2);
    EXPECT_EQ(m_watch.nKills, 0);
}

TEST_F(HangWatchTest, WithoutAWindowTheThreadEndsAtOnce) {
    EXPECT_EQ(HangWatcherThreadFunc(&m_host), 0u);
    EXPECT_TRUE(m_log.Has("HangWatcherThreadFunc begin")) << m_log.All();
    EXPECT_TRUE(m_log.Has("HangWatcherThreadFunc end")) << m_log.All();
}

TEST_F(HangWatchTest, WithoutAHostTheThreadEndsAtOnce) {
    StartHost();
    EXPECT_EQ(HangWatcherThreadFunc(nullptr), 0u);
    EXPECT_FALSE(m_log.Has("HangWatcherThreadFunc end")) << m_log.All();
}

}  // namespace
