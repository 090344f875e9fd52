// Second starts at the same moment. The helper's own pipe takes one client at a time, and a second start tries once: so
// some are lost, and each of those must be one that the rules lose.
//
//   NEXLET_RACES   how many races, 12 without it
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "tests/e2e/end_to_end.h"

namespace {

constexpr int kUsualRaces = 12;
constexpr std::size_t kAtOnce = 4;
// How long a helper that listens needs at most to take a client.
constexpr std::uint32_t kHearsMs = 5000;

class SecondStarts : public CEndToEnd {
  protected:
    struct Start {
        std::unique_ptr<CLibraryCaller> pCaller;
        CHelperProcess process;
    };

    void Begin(Start& start, const std::string& service) {
        start.pCaller = Serve(service);
        CallerResult result = start.pCaller->StartHelper(MakeStart());
        if (result == CallerResult::NotStarted && start.pCaller->SystemError() == ERROR_INTERNAL_ERROR) {
            // Wine's own word for a process that did not come up in time on a machine out of breath.
            result = start.pCaller->StartHelper(MakeStart());
        }
        ASSERT_EQ(result, CallerResult::Ok) << start.pCaller->SystemError();
        ASSERT_TRUE(start.process.Attach(start.pCaller->ProcessId())) << GetLastError();
    }

    // Counts how it ended. One that was acknowledged must be served.
    void Judge(Start& start) {
        ASSERT_EQ(start.process.WaitForEnd(kLongMs), 0u) << start.process.Log().Tail();
        const CHelperLog log = start.process.Log();
        if (log.Has("SPIC Received message")) {
            ReceivedFrame notice;
            ASSERT_EQ(start.pCaller->WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice),
                      CallerResult::Ok)
                << log.Tail();
            ExpectServed(*start.pCaller);
            AskToExit(*start.pCaller);
            ++m_nServed;
        } else if (log.Find("Failed to connect to server!") != "") {
            ++m_nBusy;
        } else {
            m_bCutOff |= log.Find("ReadFile bSuccess=0, error=109") != "";
            EXPECT_TRUE(m_bCutOff || log.Find("SPIC Received message dwWaitResult=258") != "") << "none of the rules\n"
                                                                                               << log.Tail();
            ++m_nUnacknowledged;
        }
    }

    // A client that connects while the helper has a new pipe and does not listen on it yet is cut off, and ends the
    // listening for good. Whoever comes after it is not heard.
    bool Hears() {
        DWORD systemError = 0;
        const bool hears = m_host.Connect(m_strMark, kHearsMs, systemError) == CallerResult::Ok;
        LeaveHost();
        return hears;
    }

    int m_nServed = 0;
    int m_nBusy = 0;
    int m_nUnacknowledged = 0;
    int m_nDeaf = 0;
    bool m_bCutOff = false;  // one in this race
};

TEST_F(SecondStarts, AtOnceAreServedOrLostByTheRulesAlone) {
    const char* const given = std::getenv("NEXLET_RACES");
    const int races = given != nullptr ? std::atoi(given) : kUsualRaces;
    StartHelper();
    for (int race = 0; race < races; ++race) {
        std::array<Start, kAtOnce> starts;
        for (std::size_t i = 0; i < kAtOnce; ++i) {
            ASSERT_NO_FATAL_FAILURE(Begin(starts[i], "r" + std::to_string(race) + "_" + std::to_string(i)));
        }
        for (Start& start : starts) {
            ASSERT_NO_FATAL_FAILURE(Judge(start)) << "race " << race;
        }
        ExpectServed();
        ASSERT_FALSE(HasFailure()) << "race " << race;
        const bool hears = Hears();
        EXPECT_FALSE(hears && m_bCutOff) << "cut off by a helper that listens, in race " << race;
        m_bCutOff = false;
        if (!hears) {
            ++m_nDeaf;
            m_helper.Kill();
            ASSERT_EQ(m_caller->WaitForLoss(kLongMs), CallerResult::Ok);
            StartHelper();
            ASSERT_FALSE(HasFatalFailure());
        }
    }
    std::printf(
        "%d races of %zu: %d served, %d found the pipe busy, %d were not acknowledged; %d times the helper "
        "stopped listening\n",
        races, kAtOnce, m_nServed, m_nBusy, m_nUnacknowledged, m_nDeaf);
    EXPECT_GT(m_nServed, 0);
}

}  // namespace
