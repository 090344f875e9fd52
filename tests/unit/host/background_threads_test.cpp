// How the background threads are started, and what is watched before there is a window.
#include "host/background_threads.h"

#include <atomic>
#include <functional>
#include <string_view>
#include <thread>
#include <utility>

#include "foundation/log.h"
#include "foundation/thread.h"
#include "service/watcher_edge.h"
#include "tests/unit/host/host_fixture.h"

namespace {

constexpr DWORD kLongMs = 20000;

class BackgroundThreadsTest : public CHostFixture {};

std::atomic<bool> g_bWatched{false};

TEST_F(BackgroundThreadsTest, WatchdogsRunBeforeTheReadyNoticeIsSent) {
    g_bWatched.store(false);
    // The main thread stops in this line: a thread that runs then does not wait for it.
    SetLogObserver([](const wchar_t* line) {
        if (std::wstring_view(line).find(L"SendIPCMessage begin") != std::wstring_view::npos) {
            g_bWatched.store(WaitForWatchdogs());
        }
    });
    StartHost();
    EXPECT_TRUE(g_bWatched.load());
}

// A main thread that waits for nobody comes to its next line in less.
constexpr DWORD kShowsMs = 1000;

// What runs of the host of one test: those of other tests still have threads.
struct LaterThreads {
    CKernelHandle runs[2]{CKernelHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
                          CKernelHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr))};
    std::atomic<bool> bEarly{false};

    DWORD Wait(bool bAll, DWORD nMs) const {
        const HANDLE handles[] = {runs[0].get(), runs[1].get()};
        return WaitForMultipleObjects(2, handles, bAll ? TRUE : FALSE, nMs);
    }
};
// Made at its first use: the simulated machine runs only then.
LaterThreads& Later() {
    static LaterThreads later;
    return later;
}

TEST_F(BackgroundThreadsTest, WhatTheReadyNoticeDoesNotNeedRunsAfterIt) {
    static const HostThreads later = [] {
        HostThreads threads = kCountingThreads;
        threads.pfnConfInfo = [](void*) -> DWORD { return SetEvent(Later().runs[0].get()) ? 0 : 1; };
        return threads;
    }();
    g_pfnLaunchWatcher = [](std::function<unsigned()> work, bool bHeld) {
        return LaunchThread(
            [work = std::move(work)] {
                SetEvent(Later().runs[1].get());
                return work();
            },
            bHeld);
    };
    SetLogObserver([](const wchar_t* line) {
        if (std::wstring_view(line).find(L"SendIPCMessage begin") != std::wstring_view::npos) {
            Later().bEarly.store(Later().Wait(/*bAll=*/false, kShowsMs) != WAIT_TIMEOUT);
        }
    });
    auto& host = *new CommzoltHelperS(later);  // stays, like the fixture's own
    host.Init(CommandLine());
    g_pfnLaunchWatcher = &LaunchThread;
    EXPECT_FALSE(Later().bEarly.load()) << m_log.All();
    EXPECT_EQ(Later().Wait(/*bAll=*/true, kLongMs), WAIT_OBJECT_0) << m_log.All();
}

// A thread that the system does not let run before the main thread has come to a line just before the connection, and
// then not while the main thread runs.
struct SlowStart {
    CKernelHandle reached{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    CKernelHandle connects{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<bool> wasWaitedFor{false};
    LPTHREAD_START_ROUTINE procedure = nullptr;
    void* argument = nullptr;
};
// Made at its first use, since a program may have its events only once it runs.
SlowStart& Slow() {
    static SlowStart slow;
    return slow;
}

TEST_F(BackgroundThreadsTest, HangWatcherRunsBeforeTheCallerIsConnected) {
    static const HostThreads slow = [] {
        HostThreads threads = kCountingThreads;
        threads.pfnStart = [](LPTHREAD_START_ROUTINE procedure, void* argument, DWORD flags) -> HANDLE {
            if (Slow().procedure != nullptr) {
                return kHostThreads.pfnStart(procedure, argument, flags);
            }
            Slow().procedure = procedure;
            Slow().argument = argument;
            return kHostThreads.pfnStart(
                [](void*) -> DWORD {
                    WaitForSingleObject(Slow().reached.get(), kLongMs);
                    Slow().wasWaitedFor.store(WaitForSingleObject(Slow().connects.get(), kShowsMs) == WAIT_TIMEOUT);
                    return Slow().procedure(Slow().argument);
                },
                nullptr, flags);
        };
        return threads;
    }();
    SetLogObserver([](const wchar_t* line) {
        const std::wstring_view text(line);
        if (text.find(L"enter szPath=") != std::wstring_view::npos) {
            SetEvent(Slow().reached.get());
        } else if (text.find(L"Init m_strMark=") != std::wstring_view::npos) {
            SetEvent(Slow().connects.get());
        }
    });
    auto& host = *new CommzoltHelperS(slow);  // stays, like the fixture's own
    host.Init(CommandLine());
    EXPECT_EQ(WaitForSingleObject(Slow().connects.get(), 0), WAIT_OBJECT_0) << m_log.All();
    EXPECT_TRUE(Slow().wasWaitedFor.load());
    // The fixture waits for what its log has, which this test has taken.
    EXPECT_EQ(WaitForStartedThreads(1).nConfInfo, 1);
}

TEST_F(BackgroundThreadsTest, StartThatDoesNotGetOnIsTakenForAHang) {
    static const CKernelHandle hangs(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    static const CKernelHandle watches(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    static const HostThreads impatient = [] {
        HostThreads threads = kCountingThreads;
        threads.pfnHangWatcher = [](void*) -> DWORD { return SetEvent(watches.get()) ? 0 : 1; };
        threads.pfnStartHangs = [] { SetEvent(hangs.get()); };
        threads.nStartLimitMs = 1;
        return threads;
    }();
    const CHangWatcherStart start(impatient, &m_host);
    EXPECT_EQ(start.Error(), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(WaitForSingleObject(hangs.get(), kLongMs), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(watches.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "there is no window yet";
    start.Release();
    EXPECT_EQ(WaitForSingleObject(watches.get(), kLongMs), WAIT_OBJECT_0);
}

TEST_F(BackgroundThreadsTest, StartMayTakeAsLongAsAnAnswerOfTheWindow) {
    EXPECT_EQ(kHostThreads.nStartLimitMs, 15000u);
}

TEST_F(BackgroundThreadsTest, ThreadsThatCannotBeStartedAreLoggedAndTheStartGoesOn) {
    static const HostThreads none = [] {
        HostThreads threads = kCountingThreads;
        threads.pfnStart = [](LPTHREAD_START_ROUTINE, void*, DWORD) -> HANDLE {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        };
        return threads;
    }();
    CCallerEnd caller(m_mark, "first");
    auto& host = *new CommzoltHelperS(none);
    host.Init(CommandLine());
    EXPECT_TRUE(host.IsInited());
    EXPECT_EQ(caller.WaitForFrames(1).size(), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("Thread create falied, error 8"), 2u) << m_log.All();
    EXPECT_EQ(m_log.Count("InitConfInfoThread create falied, error 8"), 1u) << m_log.All();
    EXPECT_EQ(m_log.Count("InitHangWatcherThread end"), 2u) << m_log.All();
    EXPECT_EQ(m_log.Find("create success"), "") << m_log.All();
    EXPECT_TRUE(m_log.Has("InitMonCPUUsageThread end")) << m_log.All();
}

}  // namespace
