// Many services of one helper at once that come, open, poll and leave, over and over again.
#include <atomic>
#include <cstdio>
#include <deque>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ipc/protocol/request_table.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/helper_sizes.h"

namespace {

constexpr int kServices = 64;
// A generation of services makes so many rounds and leaves, and the next one comes without waiting for the look through
// the table that lets the old one go. The one before that has gone by then, so that never more than two are there, and
// two are there from the beginning: what the helper needs at once is always the same.
constexpr int kRoundsOfAGeneration = 50;
constexpr int kRoundsAtOnce = 10;  // of them, without a look at the time
constexpr int kGenerations = 20;
// A helper that keeps the machine busy in six samples in a row, one every eleven seconds, closes itself. So before that
// can be everyone leaves, and there is a rest that holds a whole sample.
constexpr int kFirstRest = 2;
constexpr int kRestEvery = 5;
constexpr ULONGLONG kLoadMs = 45000;
constexpr DWORD kRestMs = 12500;
constexpr DWORD kPollPauseMs = 10;
// All open the same task. Only opens of the latest task are ever answered, so opens of different tasks at once would
// stay under way for ever; an answer settles every open of its task so far, and each poll takes one.
constexpr const char* kTask = "load";

constexpr std::size_t kSlackBytes = 1 << 20;

class Load : public CEndToEnd {
  protected:
    using Callers = std::vector<std::unique_ptr<CLibraryCaller>>;

    HelperSizes Measure(int rounds) {
        const HelperSizes sizes(m_helper);
        std::printf("%4d rounds %6zu handles %5zu threads %9zu private bytes, %d opens, %d polls\n", rounds,
                    sizes.handles, sizes.threads, sizes.bytes, m_nOpens.load(), m_nPolls.load());
        std::fflush(stdout);
        return sizes;
    }

    // A generation of services the helper has not heard of, made known through its own pipe.
    Callers Come(int generation) {
        Callers callers;
        for (int i = 0; i < kServices; ++i) {
            callers.push_back(Serve("svc" + std::to_string(generation) + "_" + std::to_string(i)));
            SendToHost(MessageType::S_MT_OpenMiniAppSuccessfully, QuickRequest(callers.back()->ServiceId(), -1));
            ReceivedFrame reply;
            EXPECT_EQ(callers.back()->WaitForFrame(Number(MessageType::S_MT_StatusReply), kLongMs, reply),
                      CallerResult::Ok)
                << i;
        }
        LeaveHost();
        return callers;
    }

    // Sends a request, and takes the very next frame for its reply. The word of the result; anything amiss is told.
    std::string AskForOwn(CLibraryCaller& caller, MessageType type, Json::Value content, int tag) {
        content["service_id"] = caller.ServiceId();
        content["tag"] = tag;
        CallerResult result = caller.Send(Number(type), std::move(content), kLongMs);
        ReceivedFrame reply;
        if (result == CallerResult::Ok) {
            result = caller.WaitForFrame(0, kLongMs, reply);
        }
        if (result != CallerResult::Ok || reply.nType != ReplyTypeOf(Number(type)) || reply.content["tag"] != tag ||
            reply.content["service_id"] != caller.ServiceId()) {
            Complain(caller, tag, std::string(DescribeCallerResult(result)) + ": " + reply.strPayload);
            return {};
        }
        return reply.content["result"].asString();
    }

    // Opens, and polls until the open has settled.
    void Round(CLibraryCaller& caller, int& tag) {
        Json::Value open(Json::objectValue);
        open["p1"] = JsonOf(MiniAppOpen(kTask));
        ++m_nOpens;
        if (const std::string word =
                AskForOwn(caller, MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, std::move(open), ++tag);
            word != "1") {
            Complain(caller, tag, "opened with " + word);
            return;
        }
        std::string word;
        const ULONGLONG openedAt = GetTickCount64();
        do {
            Sleep(kPollPauseMs);
            Json::Value poll(Json::objectValue);
            poll["p1"] = MiniAppPoll(kTask);
            ++m_nPolls;
            word = AskForOwn(caller, MessageType::S_MT_OpenMiniAppSuccessfully, std::move(poll), ++tag);
        } while (word == "Loading" && GetTickCount64() - openedAt < kLongMs);
        if (word != "1") {
            Complain(caller, tag, "settled with " + word);
        }
    }

    void Complain(const CLibraryCaller& caller, int tag, const std::string& what) {
        const std::lock_guard guard(m_lockComplaints);
        m_bGoingOn.store(false);
        m_strComplaints += caller.ServiceId() + ", request " + std::to_string(tag) + ": " + what + "\n";
    }

    // Every service on a thread of its own. Done when all are. On a machine that has much else to do a generation takes
    // longer than there may be without a rest; then all rest in its middle.
    void RunRounds(const Callers& callers) {
        std::vector<int> tags(callers.size());
        for (int done = 0; done < kRoundsOfAGeneration; done += kRoundsAtOnce) {
            if (GetTickCount64() - m_nRestedAt > kLoadMs) {
                Sleep(kRestMs);
                m_nRestedAt = GetTickCount64();
            }
            std::vector<std::thread> threads;
            for (std::size_t i = 0; i < callers.size(); ++i) {
                threads.emplace_back([this, &caller = *callers[i], &tag = tags[i]] {
                    for (int round = 0; round < kRoundsAtOnce && m_bGoingOn.load(); ++round) {
                        Round(caller, tag);
                    }
                });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
            ASSERT_EQ(m_strComplaints, "");
        }
    }

    void Leave(Callers callers) {
        for (const auto& pCaller : callers) {
            ReceivedFrame stray;
            EXPECT_EQ(pCaller->WaitForFrame(0, 0, stray), CallerResult::Timeout) << stray.strPayload;
            AskToExit(*pCaller);
        }
        m_leaving.push_back(std::move(callers));
    }

    // Until the helper has dropped all callers that asked to leave, except the latest of them.
    void WaitUntilLeft(std::size_t generationsBut) {
        for (; m_leaving.size() > generationsBut; m_leaving.pop_front()) {
            for (const auto& pCaller : m_leaving.front()) {
                EXPECT_EQ(pCaller->WaitForLoss(kLongMs), CallerResult::Ok) << pCaller->ServiceId();
            }
        }
    }

    bool IsRestDue(int generation) const {
        return generation % kRestEvery == kFirstRest || generation == kGenerations ||
               GetTickCount64() - m_nRestedAt > kLoadMs;
    }

    std::deque<Callers> m_leaving;
    ULONGLONG m_nRestedAt = GetTickCount64();
    std::atomic<int> m_nOpens{0};
    std::atomic<int> m_nPolls{0};
    std::atomic<bool> m_bGoingOn{true};
    std::mutex m_lockComplaints;
    std::string m_strComplaints;  // guarded by m_lockComplaints
};

TEST_F(Load, SixtyFourServicesAtATimeOpenPollAndLeaveForAThousandRounds) {
    m_sandbox.LayOcean(L"good");
    ASSERT_TRUE(m_sandbox.Ready());
    StartHelper();
    std::vector<HelperSizes> rests;
    for (int generation = 1; generation <= kGenerations; ++generation) {
        WaitUntilLeft(1);
        Callers callers = Come(generation);
        ASSERT_FALSE(HasFailure());
        ASSERT_NO_FATAL_FAILURE(RunRounds(callers)) << "in generation " << generation;
        Leave(std::move(callers));
        if (IsRestDue(generation)) {
            Sleep(kRestMs);
            WaitUntilLeft(0);
            const HelperSizes sizes = Measure(generation * kRoundsOfAGeneration);
            if (generation >= kFirstRest) {
                rests.push_back(sizes);
            }
            m_nRestedAt = GetTickCount64();
        }
        ASSERT_FALSE(HasFailure());
    }
    ASSERT_GE(rests.size(), 4u);
    const HelperSizes& first = rests.front();
    const HelperSizes& last = rests.back();
    ASSERT_GT(first.bytes, 0u);
    // The stand-in SDK lets go of the threads of its last answers at the next open.
    EXPECT_LE(last.handles, first.handles + 16);
    EXPECT_LE(last.threads, first.threads + 2);
    // A leak grows from each rest to the next. The heap grows, too, but once at most: when more than ever is in use at
    // the same time, by one of its segments.
    int grown = 0;
    for (std::size_t i = 1; i < rests.size(); ++i) {
        grown += rests[i].bytes > rests[i - 1].bytes + kSlackBytes ? 1 : 0;
    }
    EXPECT_LE(grown, 1);
    EXPECT_LE(last.bytes, first.bytes + kHeapSegmentBytes + rests.size() * kSlackBytes);

    ExpectServed();
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(2 * kLongMs), 0u) << "the table is empty, so the process ends";
}

}  // namespace

// The mini-program application counts as installed in this test's prefix, and the log is off.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (!::testing::GTEST_FLAG(list_tests) && !LayMiniProgramInstalled()) {
        std::cerr << "the registry cannot be prepared: " << GetLastError() << "\n";
        return 1;
    }
    return RUN_ALL_TESTS();
}
