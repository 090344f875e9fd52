// The whole helper under everything at once for as long as one likes: 64 services that come, ask for all there is, are
// refused, leave or vanish, and come back, while the network comes and goes. No reply may be lost, and memory, handles
// and threads may not grow.
//
//   NEXLET_SOAK_MINUTES   how long; two short cycles without it
//   NEXLET_SEED           repeats the choices of a run, which prints its own
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/json_text.h"
#include "tests/e2e/soak_services.h"
#include "tests/e2e/world_fixture.h"
#include "tests/support/helper_sizes.h"
#include "tests/support/http_test_server.h"

#include <shlwapi.h>

namespace {

constexpr std::size_t kServices = 64;
// Of each cycle of a long run so many come by a second start of the program, which takes its seconds; the others are
// made known by a request on the helper's own pipe. A client that comes while the helper listens anew ends its
// listening for good, so there is this time between two of them; and the short run, which must not fail by that rule,
// has one client.
constexpr std::size_t kSecondStarts = 2;
constexpr DWORD kAfterAClientMs = 1000;
// A helper that keeps the machine busy in six samples in a row, one every eleven seconds, closes itself. So a cycle
// ends before that, and the rest after it holds a whole sample.
constexpr ULONGLONG kCycleMs = 40000;
// Without NEXLET_SOAK_MINUTES it is one of the tests, which others run beside.
constexpr ULONGLONG kShortCycleMs = 12000;
constexpr DWORD kRestMs = 12500;
// A vanished caller's pipe is looked for once a minute, and the table is looked through every ten seconds.
constexpr ULONGLONG kLetGoMs = 60000 + 2 * kPruneMs + kLongMs;
constexpr std::size_t kSlackBytes = 1 << 20;
// Over what a helper that has done nothing needs: both SDKs and GDI+ loaded, the network's session, and what the
// stand-in SDKs release only at the next open.
constexpr std::size_t kSlackHandles = 40;
constexpr std::size_t kSlackThreads = 6;
// Nobody listens there.
constexpr std::uint16_t kDeadPort = 9;

constexpr char kWorld[] = R"(keep user SOFTWARE\Ovrin
keep user SOFTWARE\OvrinSe
keep user SOFTWARE\qimei
keep user "SOFTWARE\Microsoft\Windows\CurrentVersion\Internet Settings"
keep user SOFTWARE\Microsoft\SystemCertificates
keep machine64 SOFTWARE\Microsoft\SystemCertificates
internet clients/internet.exe
installed WeChatMiniProgram
installed WeChat
process clients/WeChat.exe
scheme nexlet-soak clients/pages/WeChat.exe soak page
setting clients/pages/wechat.ini wechat delay_ms 20
setting clients/pages/wechat.ini wechat stay_ms 1500
file nexlet.exe app/bin/nexlet.exe
file world/good/ocean.dll app/wxsdk/ocean.dll
setting app/wxsdk/ocean.ini ocean delay_ms 20
file world/yyb/good/pcyyb_sdk_dll.dll app/yybsdk/pcyyb_sdk_dll.dll
file world/yyb/good/qimei.dll app/yybsdk/qimei.dll
file world/yyb/good/AndrowsInstaller.exe app/yybsdk/AndrowsInstaller.exe
file world/yyb/androws_logo.png app/yybsdk/androws_logo.png
setting app/yybsdk/pcyyb.ini pcyyb delay_ms 5
setting app/yybsdk/pcyyb.ini pcyyb report {"status":"CompleteLaunch","pkgname":"wx1"}
setting app/yybsdk/pcyyb.ini pcyyb qimei {"q16":"16","q36":"36"}
)";

// The networks that a user's machine has in its life, as answers of the stand-in servers.
constexpr const char* kNetworks[] = {
    "answer * /* 200 text {\"appShortcut\":{\"create\":1}}\n",
    "answer * /* 503\n",
    "answer * /* 200 after 300\n",
};

unsigned FromEnvironment(const char* name, unsigned otherwise) {
    const char* const given = std::getenv(name);
    return given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : otherwise;
}

class Soak : public CWorldTest {
  protected:
    HelperSizes Measure(unsigned seconds) {
        const HelperSizes sizes(m_helper);
        std::printf("%5u s %6zu handles %5zu threads %10zu private bytes, %s\n", seconds, sizes.handles, sizes.threads,
                    sizes.bytes, m_tally.Text().c_str());
        std::fflush(stdout);
        return sizes;
    }

    // Lets the network come and go until the cycle ends.
    void ChangeNetworks(std::mt19937 random, const std::atomic<bool>& going) {
        while (going) {
            const unsigned which = random() % (std::size(kNetworks) + 1);
            std::unique_ptr<ScopedInternetProxy> pGone;
            if (which == std::size(kNetworks)) {
                pGone = std::make_unique<ScopedInternetProxy>(kDeadPort);
            } else {
                std::ofstream(m_directory / "answers.txt", std::ios::binary) << kNetworks[which];
            }
            const ULONGLONG until = GetTickCount64() + 1000 + random() % 6000;
            while (going && GetTickCount64() < until) {
                Sleep(50);
            }
        }
        std::ofstream(m_directory / "answers.txt", std::ios::binary) << kNetworks[0];
    }

    // A service that the helper has not heard of, or not any more.
    std::unique_ptr<CSoakService> Come(const std::string& id, std::mt19937 random, bool bySecondStart) {
        auto pService = std::make_unique<CSoakService>(m_strMark, id, random, m_tally);
        bool good = pService->Open();
        if (good && bySecondStart) {
            HelperStart start;
            start.strExe = (m_directory / L"app\\bin\\nexlet.exe").wstring();
            start.strChannel = MakeChannelText(m_strMark, "mid", 7, "product", "from");
            good = pService->ComeByStart(start);
            Sleep(kAfterAClientMs);
        } else if (good) {
            const std::lock_guard guard(m_lockHost);
            SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest(id, -1));
            if (HasFailure()) {
                m_tally.Complain("the helper does not listen on its own pipe");
            }
            good = m_tally.Good() && pService->TakeFirstReply();
        }
        return good ? std::move(pService) : nullptr;
    }

    // One service after the other at one place, until the cycle ends.
    void Live(int cycle, std::size_t place, std::mt19937 random, std::unique_ptr<CSoakService> pService) {
        for (int life = 0; GetTickCount64() < m_nCycleEnd && m_tally.Good(); ++life) {
            if (!pService) {
                // The first of each cycle has the same id as in the cycle before: it comes back.
                std::string id = "svc" + std::to_string(place);
                if (life > 0) {
                    id += "_" + std::to_string(cycle) + "_" + std::to_string(life);
                }
                pService = Come(id, random, false);
                random.discard(1);
            }
            if (!pService) {
                return;
            }
            const ULONGLONG lifeMs = 3000 + random() % 15000;
            pService->Act(std::min<ULONGLONG>(GetTickCount64() + lifeMs, m_nCycleEnd));
            Leave(std::move(pService), random() % 3 == 0);
        }
    }

    void Leave(std::unique_ptr<CSoakService> pService, bool vanishes) {
        const std::lock_guard guard(m_lockLeft);
        if (vanishes) {
            m_vanished.insert(pService->Id());
            ++m_tally.vanished;
        } else {
            pService->AskToExit();
            m_leaving.push_back(std::move(pService));
        }
    }

    // Until the helper has dropped everyone and needs no more than that. Callers that vanished are reported, as a
    // caller that comes back does it, unless it is the last time: then the helper must find out for itself.
    void Rest(std::size_t handles, std::size_t threads, bool last) {
        if (!last) {
            for (const std::string& id : m_vanished) {
                SendToHost(MessageType::S_MT_ExitExeProcess, ServiceContent(id));
            }
            // What was sent before has been read when the reply to this comes.
            ExpectServed();
        }
        m_vanished.clear();
        if (m_bLong) {
            LeaveHost();
        }
        Sleep(kRestMs);
        for (const auto& pService : m_leaving) {
            EXPECT_TRUE(pService->WaitForLoss()) << pService->Id();
        }
        m_leaving.clear();
        const ULONGLONG startedAt = GetTickCount64();
        while ((m_helper.ThreadCount() > threads || m_helper.HandleCount() > handles) && m_helper.IsRunning() &&
               GetTickCount64() - startedAt < kLetGoMs) {
            Sleep(200);
        }
    }

    void RunCycle(int cycle, unsigned seed, ULONGLONG lengthMs) {
        const auto randomOf = [&](unsigned what) {
            std::seed_seq seeds{seed, static_cast<unsigned>(cycle), what};
            return std::mt19937(seeds);
        };
        std::vector<std::unique_ptr<CSoakService>> bySecondStart(kServices);
        for (unsigned i = 0; m_bLong && i < kSecondStarts; ++i) {
            bySecondStart[i] = Come("svc" + std::to_string(i), randomOf(1000 + i), true);
            ASSERT_EQ(m_tally.Complaints(), "");
        }
        m_nCycleEnd = GetTickCount64() + lengthMs;
        std::atomic<bool> going{true};
        std::thread weather([&] { ChangeNetworks(randomOf(2000), going); });
        std::vector<std::thread> places;
        for (unsigned i = 0; i < kServices; ++i) {
            places.emplace_back([&, i] { Live(cycle, i, randomOf(i), std::move(bySecondStart[i])); });
        }
        for (std::thread& place : places) {
            place.join();
        }
        going = false;
        weather.join();
        ASSERT_EQ(m_tally.Complaints(), "");
    }

    SoakTally m_tally;
    bool m_bLong = false;
    ULONGLONG m_nCycleEnd = 0;
    std::mutex m_lockHost;
    std::mutex m_lockLeft;
    std::vector<std::unique_ptr<CSoakService>> m_leaving;  // guarded by m_lockLeft
    std::set<std::string> m_vanished;                      // likewise
};

TEST_F(Soak, SixtyFourServicesOfAllKindsLoseNoReplyAndLeaveNothingBehind) {
    const unsigned minutes = FromEnvironment("NEXLET_SOAK_MINUTES", 0);
    m_bLong = minutes > 0;
    const unsigned seed = FromEnvironment("NEXLET_SEED", std::random_device{}());
    std::printf("seed %u (NEXLET_SEED repeats its choices)\n", seed);
    ASSERT_EQ(Up(kWorld).dwExitCode, 0u);
    // Of a million requests the log would be all that is measured.
    constexpr DWORD kOff = 0;
    ASSERT_EQ(SHSetValueW(HKEY_CURRENT_USER, LR"(SOFTWARE\Ovrin\zolt)", L"debug_log", REG_DWORD, &kOff, sizeof kOff),
              ERROR_SUCCESS);
    ASSERT_NO_FATAL_FAILURE(StartHelperOfTheWorld());
    const ULONGLONG startedAt = GetTickCount64();
    const auto seconds = [&] { return static_cast<unsigned>((GetTickCount64() - startedAt) / 1000); };
    // The first rest says what the helper needs once it has done everything.
    HelperSizes limit(m_helper);
    limit.handles += kSlackHandles;
    limit.threads += kSlackThreads;
    std::vector<HelperSizes> rests;
    for (int cycle = 1; cycle <= 2 || seconds() < minutes * 60; ++cycle) {
        ASSERT_NO_FATAL_FAILURE(RunCycle(cycle, seed, minutes > 0 ? kCycleMs : kShortCycleMs)) << "in cycle " << cycle;
        Rest(limit.handles, limit.threads, cycle > 1 && seconds() >= minutes * 60);
        rests.push_back(Measure(seconds()));
        ASSERT_FALSE(HasFailure());
    }
    const HelperSizes& first = rests.front();
    const HelperSizes& last = rests.back();
    ASSERT_GT(first.bytes, 0u);
    EXPECT_LE(last.handles, limit.handles);
    EXPECT_LE(last.threads, limit.threads);
    // A leak grows from each rest to the next. The heap grows, too, but only when more than ever is in use at the same
    // time, by segments; the second half of the rests shows none.
    int grown = 0;
    for (std::size_t i = rests.size() / 2 + 1; i < rests.size(); ++i) {
        grown += rests[i].bytes > rests[i - 1].bytes + kSlackBytes ? 1 : 0;
    }
    EXPECT_LE(grown, 1);
    EXPECT_LE(last.bytes, first.bytes + 2 * kHeapSegmentBytes + rests.size() * kSlackBytes);
    std::printf("%s\n", m_tally.Hours(kServices).c_str());

    ExpectServed();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(2 * kLongMs), 0u) << "the table is empty, so the process ends";
}

}  // namespace
