// Many services of one helper at once.
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include "tests/e2e/end_to_end.h"

namespace {

constexpr int kServices = 64;
constexpr int kFirstRounds = 100;
constexpr int kRounds = 900;

using Load = CEndToEnd;

TEST_F(Load, SixtyFourServicesAtOnceGetTheirOwnRepliesAndLeaveNothingBehind) {
    StartHelper();
    const auto sizes = [this](const char* when, std::size_t& handles, std::size_t& threads, std::size_t& bytes) {
        handles = m_helper.HandleCount();
        threads = m_helper.ThreadCount();
        bytes = m_helper.PrivateBytes();
        std::printf("%-12s %6zu handles %5zu threads %9zu private bytes\n", when, handles, threads, bytes);
    };
    std::vector<decltype(Serve(""))> callers;
    for (int i = 0; i < kServices; ++i) {
        callers.push_back(Serve("svc" + std::to_string(i)));
        SendToHost(7, QuickRequest(callers.back()->ServiceId(), -1));
        ReceivedFrame reply;
        ASSERT_EQ(callers.back()->WaitForFrame(13, kLongMs, reply), CallerResult::Ok) << i;
    }
    LeaveHost();

    // Every service asks for an open and how it stands, and takes the very next frame for its answer.
    std::atomic<int> wrong{0};
    const auto run = [&](int rounds) {
        std::vector<std::thread> threads;
        for (const auto& caller : callers) {
            threads.emplace_back([&caller = *caller, &wrong, rounds] {
                for (int round = 0; round < rounds; ++round) {
                    Json::Value open = ServiceContent(caller.ServiceId());
                    open["p1"]["type"] = "miniApp";
                    open["tag"] = round;
                    Json::Value poll = QuickRequest(caller.ServiceId(), round);
                    ReceivedFrame opened;
                    ReceivedFrame polled;
                    const bool own =
                        caller.Send(6, open, kLongMs) == CallerResult::Ok &&
                        caller.WaitForFrame(0, kLongMs, opened) == CallerResult::Ok && opened.nType == 17 &&
                        opened.content["tag"] == round && opened.content["service_id"] == caller.ServiceId() &&
                        caller.Send(7, poll, kLongMs) == CallerResult::Ok &&
                        caller.WaitForFrame(0, kLongMs, polled) == CallerResult::Ok && polled.nType == 13 &&
                        polled.content["tag"] == round && polled.content["service_id"] == caller.ServiceId();
                    wrong += own ? 0 : 1;
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    };
    std::size_t handles[2];
    std::size_t threads[2];
    std::size_t bytes[2];
    run(kFirstRounds);
    sizes("100 rounds", handles[0], threads[0], bytes[0]);
    run(kRounds);
    sizes("1000 rounds", handles[1], threads[1], bytes[1]);
    EXPECT_EQ(wrong.load(), 0);
    ASSERT_GT(bytes[0], 0u);
    EXPECT_LE(handles[1], handles[0] + 8);
    EXPECT_LE(threads[1], threads[0] + 2);
    EXPECT_LE(bytes[1], bytes[0] + bytes[0] / 4);

    for (const auto& caller : callers) {
        ReceivedFrame stray;
        EXPECT_EQ(caller->WaitForFrame(0, 0, stray), CallerResult::Timeout) << stray.strPayload;
        AskToExit(*caller);
    }
    AskToExit();
    EXPECT_EQ(m_helper.WaitForEnd(2 * kLongMs), 0u) << "the table is empty, so the process ends";
}

}  // namespace
