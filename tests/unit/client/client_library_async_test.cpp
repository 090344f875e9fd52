// Requests of nexlet_client.dll that nobody waits for: their ends, and everything that may come in between.
#include "tests/unit/client/client_library_fixture.h"

#include <atomic>
#include <thread>

#include "tests/support/handle_count.h"
#include "tests/support/message_number.h"

namespace {

// What the ends of requests told, in order. Outlives the clients whose callbacks add to it.
class CEnds {
  public:
    struct End {
        nexlet_request request;
        nexlet_result result;
        std::string word;
        std::string reply;
        std::string error;
    };

    // Called within the callback, with the end's number from 1 on.
    std::function<void(nexlet_client client, int number)> m_inside;

    nexlet_request_options Options(std::uint32_t timeoutMs = kLongMs) {
        nexlet_request_options options = {};
        options.struct_size = sizeof options;
        options.timeout_ms = timeoutMs;
        options.context = this;
        options.on_done = [](void* context, nexlet_client client, nexlet_request request,
                             const nexlet_outcome* outcome) {
            CEnds& self = *static_cast<CEnds*>(context);
            int number = 0;
            {
                const std::lock_guard<std::mutex> lock(self.m_lock);
                self.m_ends.push_back(
                    {request, outcome->result, outcome->word, outcome->reply_json, outcome->error_text});
                number = static_cast<int>(self.m_ends.size());
            }
            if (self.m_inside) {
                self.m_inside(client, number);
            }
            self.m_count.Add();
        };
        return options;
    }
    bool WaitFor(int count) { return m_count.WaitFor(count); }
    int Count() const { return m_count.Count(); }
    End At(std::size_t index) const {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_ends.at(index);
    }

  private:
    CTally m_count;
    mutable std::mutex m_lock;
    std::vector<End> m_ends;
};

class ClientLibraryAsync : public ClientLibrary {
  protected:
    ~ClientLibraryAsync() override { m_client.Close(); }

    nexlet_request Begin(int type, const nexlet_request_options& options) {
        nexlet_request request = 0;
        EXPECT_EQ(nexlet_begin(m_client.Handle(), type, "{}", &options, &request), NEXLET_OK)
            << nexlet_last_error_text();
        return request;
    }
    static nexlet_result ResultOf(nexlet_request request, std::uint32_t timeoutMs = kLongMs) {
        return nexlet_request_result(request, timeoutMs, nullptr, nullptr);
    }

    CEnds m_ends;
};

TEST_F(ClientLibraryAsync, EndComesToTheCallbackAndToTheHandle) {
    OpenAndCome();
    const auto options = m_ends.Options();
    nexlet_request request = 0;
    ASSERT_EQ(nexlet_begin_open(m_client.Handle(), R"({"type":"miniApp","from":"x"})", &options, &request), NEXLET_OK);
    ASSERT_TRUE(m_ends.WaitFor(1));
    EXPECT_EQ(m_ends.At(0).request, request);
    EXPECT_EQ(m_ends.At(0).result, NEXLET_OK);
    EXPECT_EQ(m_ends.At(0).word, "Loading");
    EXPECT_EQ(m_ends.At(0).reply, R"({"p1":{"from":"x","type":"miniApp"},"result":"Loading","service_id":"svc"})");
    EXPECT_EQ(m_ends.At(0).error, "");
    char* word = nullptr;
    char* reply = nullptr;
    EXPECT_EQ(nexlet_request_result(request, 0, &word, &reply), NEXLET_OK);
    EXPECT_STREQ(word, "Loading");
    EXPECT_EQ(reply, m_ends.At(0).reply);
    nexlet_free(word);
    nexlet_free(reply);
    EXPECT_EQ(nexlet_request_close(request), NEXLET_OK);
    EXPECT_EQ(nexlet_request_close(request), NEXLET_BAD_HANDLE);
    EXPECT_EQ(nexlet_cancel(request), NEXLET_BAD_HANDLE);
    EXPECT_EQ(ResultOf(request), NEXLET_BAD_HANDLE);
    ASSERT_EQ(nexlet_begin_poll(m_client.Handle(), R"({"type":"miniApp"})", &options, nullptr), NEXLET_OK);
    ASSERT_TRUE(m_ends.WaitFor(2));
    EXPECT_EQ(m_ends.At(1).request, 0u);
    EXPECT_EQ(m_ends.At(1).word, "1");
}

TEST_F(ClientLibraryAsync, EventOfARequestIsSignalledAtItsEnd) {
    std::atomic<bool> answer{false};
    OpenAndCome([&](const ScriptedRequest& request) { return answer ? Answer(request) : Silence(request); });
    nexlet_request_options options = m_ends.Options();
    options.on_done = nullptr;
    const nexlet_request request = Begin(NEXLET_TYPE_STATUS, options);
    void* event = nullptr;
    ASSERT_EQ(nexlet_request_handle(request, &event), NEXLET_OK);
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(ResultOf(request, 0), NEXLET_PENDING);
    EXPECT_EQ(nexlet_cancel(request), NEXLET_OK);
    EXPECT_EQ(WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(ResultOf(request, 0), NEXLET_CANCELLED);
    nexlet_request_close(request);
    answer = true;
    const nexlet_request second = Begin(NEXLET_TYPE_STATUS, options);
    ASSERT_EQ(nexlet_request_handle(second, &event), NEXLET_OK);
    EXPECT_EQ(WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
    EXPECT_EQ(ResultOf(second, 0), NEXLET_OK);
    void* again = nullptr;
    EXPECT_EQ(nexlet_request_handle(second, &again), NEXLET_OK);
    EXPECT_EQ(again, event);
    EXPECT_EQ(nexlet_request_handle(second, nullptr), NEXLET_BAD_ARGUMENT);
    nexlet_request_close(second);
    EXPECT_EQ(nexlet_request_handle(second, &again), NEXLET_BAD_HANDLE);
}

TEST_F(ClientLibraryAsync, LimitEndsARequestThatNobodyWaitsFor) {
    OpenAndCome(Silence);
    Begin(NEXLET_TYPE_STATUS, m_ends.Options(50));
    ASSERT_TRUE(m_ends.WaitFor(1));
    EXPECT_EQ(m_ends.At(0).result, NEXLET_TIMEOUT);
    EXPECT_NE(m_ends.At(0).error, "");
}

TEST_F(ClientLibraryAsync, CancelledRequestThatWaitsForItsTurnIsNeverSent) {
    OpenAndCome(Silence);
    const nexlet_request first = Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    const nexlet_request second = Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    EXPECT_EQ(nexlet_cancel(second), NEXLET_OK);
    ASSERT_TRUE(m_ends.WaitFor(1));
    EXPECT_EQ(m_ends.At(0).request, second);
    EXPECT_EQ(m_ends.At(0).result, NEXLET_CANCELLED);
    EXPECT_EQ(ResultOf(first, 0), NEXLET_PENDING) << "the other one continues";
    EXPECT_EQ(nexlet_cancel(first), NEXLET_OK);
    ASSERT_TRUE(m_ends.WaitFor(2));
    // Both turns are over, so the next one is sent, and it is the second that the helper sees.
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    ASSERT_TRUE(m_helper.WaitForRequests(2));
    EXPECT_EQ(m_helper.Requests().at(1).content["nexlet_call"].asInt(), 2);
}

TEST_F(ClientLibraryAsync, ReplyOfACancelledRequestIsDropped) {
    std::string held;
    OpenAndCome([&](const ScriptedRequest& request) -> std::vector<std::string> {
        if (held.empty()) {
            held = CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "of the first");
            return {};
        }
        return {held, CScriptedHelper::Reply(MessageType::S_MT_StatusReply, request, "result", "of the second")};
    });
    const nexlet_request first = Begin(NEXLET_TYPE_POLL, m_ends.Options());
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    EXPECT_EQ(nexlet_cancel(first), NEXLET_OK);
    Begin(NEXLET_TYPE_POLL, m_ends.Options());
    ASSERT_TRUE(m_ends.WaitFor(2));
    EXPECT_EQ(m_ends.At(0).result, NEXLET_CANCELLED);
    EXPECT_EQ(m_ends.At(1).word, "of the second");
    EXPECT_EQ(m_client.WaitFrame(0, 0).result, NEXLET_TIMEOUT) << "nor is it kept";
}

TEST_F(ClientLibraryAsync, CancelAndReplyAtOnceGiveOneEnd) {
    OpenAndCome();
    constexpr int kRounds = 200;
    int cancelled = 0;
    for (int i = 0; i < kRounds; ++i) {
        const nexlet_request request = Begin(NEXLET_TYPE_POLL, m_ends.Options());
        if (i % 2 == 0) {
            ASSERT_TRUE(m_helper.WaitForRequests(static_cast<std::size_t>(i + 1)));
        }
        EXPECT_EQ(nexlet_cancel(request), NEXLET_OK);
        ASSERT_TRUE(m_ends.WaitFor(i + 1));
        const CEnds::End end = m_ends.At(static_cast<std::size_t>(i));
        EXPECT_EQ(end.request, request);
        EXPECT_TRUE(end.result == NEXLET_CANCELLED || end.result == NEXLET_OK) << end.result;
        EXPECT_EQ(ResultOf(request, 0), end.result) << "the handle and the callback tell the same";
        cancelled += end.result == NEXLET_CANCELLED ? 1 : 0;
        nexlet_request_close(request);
        // So the helper sees at least one request a round, and the wait above is for one of this round.
        EXPECT_EQ(m_client.PollTarget("{}", kLongMs).value, "1");
    }
    m_client.Close();
    EXPECT_EQ(m_ends.Count(), kRounds) << "one end each, " << cancelled << " cancelled";
}

TEST_F(ClientLibraryAsync, LossOfTheHelperEndsWhatWasSent) {
    OpenAndCome(Silence);
    for (const int type : {2, 3, 4, 5, 6, 7}) {
        Begin(type, m_ends.Options());
    }
    ASSERT_TRUE(m_helper.WaitForRequests(6));
    m_helper.Leave();
    ASSERT_TRUE(m_ends.WaitFor(6));
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(m_ends.At(i).result, NEXLET_GONE);
    }
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    ASSERT_TRUE(m_ends.WaitFor(7));
    EXPECT_EQ(m_ends.At(6).result, NEXLET_GONE) << "nobody is there to take it";
}

TEST_F(ClientLibraryAsync, CloseEndsEachRequestAndWaitsForItsCallback) {
    OpenAndCome(Silence);
    std::vector<nexlet_request> requests;
    for (int i = 0; i < 10; ++i) {
        requests.push_back(Begin(i % 2 == 0 ? NEXLET_TYPE_STATUS : NEXLET_TYPE_POLL, m_ends.Options()));
    }
    m_client.Close();
    EXPECT_EQ(m_ends.Count(), 10);
    for (const nexlet_request one : requests) {
        EXPECT_EQ(ResultOf(one, 0), NEXLET_CLOSED) << "the handle is there until it is given back";
        EXPECT_EQ(nexlet_cancel(one), NEXLET_OK);
        EXPECT_EQ(nexlet_request_close(one), NEXLET_OK);
    }
    const auto options = m_ends.Options();
    EXPECT_EQ(nexlet_begin(m_client.Handle(), 2, "{}", &options, nullptr), NEXLET_BAD_HANDLE);
}

TEST_F(ClientLibraryAsync, ShutDownClientBeginsNothing) {
    OpenAndCome(Silence);
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    EXPECT_EQ(m_client.Shutdown(), NEXLET_OK);
    const auto options = m_ends.Options();
    nexlet_request request = 77;
    EXPECT_EQ(nexlet_begin(m_client.Handle(), 2, "{}", &options, &request), NEXLET_CLOSED);
    EXPECT_EQ(request, 0u);
    ASSERT_TRUE(m_ends.WaitFor(1));
    EXPECT_EQ(m_ends.At(0).result, NEXLET_CLOSED);
}

TEST_F(ClientLibraryAsync, CallbackBeginsAndCancelsAndClosesRequestsOfItsClient) {
    OpenAndCome();
    nexlet_result inside[6] = {};
    m_ends.m_inside = [&](nexlet_client client, int number) {
        if (number == 1) {
            const auto options = m_ends.Options();
            nexlet_request further = 0;
            inside[0] = nexlet_begin(client, NEXLET_TYPE_POLL, "{}", &options, &further);
            inside[1] = nexlet_request_result(further, kLongMs, nullptr, nullptr);
            inside[2] = nexlet_request_close(m_ends.At(0).request);
            inside[3] = nexlet_close(client);
            nexlet_app_status status = {};
            status.struct_size = sizeof status;
            inside[4] = nexlet_status(client, kLongMs, &status);
            inside[5] = nexlet_cancel(further);
        }
    };
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    ASSERT_TRUE(m_ends.WaitFor(2));
    EXPECT_EQ(inside[0], NEXLET_OK);
    EXPECT_TRUE(inside[1] == NEXLET_WRONG_THREAD || inside[1] == NEXLET_OK) << inside[1];
    EXPECT_EQ(inside[2], NEXLET_OK);
    EXPECT_EQ(inside[3], NEXLET_WRONG_THREAD);
    EXPECT_EQ(inside[4], NEXLET_WRONG_THREAD);
    EXPECT_EQ(inside[5], NEXLET_OK);
    EXPECT_EQ(m_ends.At(0).result, NEXLET_OK);
}

TEST_F(ClientLibraryAsync, WaitInsideACallbackOfTheSameClientIsRefused) {
    OpenAndCome(Silence);
    const nexlet_request other = Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    nexlet_result inside[2] = {};
    m_ends.m_inside = [&](nexlet_client, int number) {
        if (number == 1) {
            inside[0] = ResultOf(other, kLongMs);
            inside[1] = ResultOf(other, 0);
        }
    };
    nexlet_cancel(Begin(NEXLET_TYPE_POLL, m_ends.Options()));
    ASSERT_TRUE(m_ends.WaitFor(1));
    EXPECT_EQ(inside[0], NEXLET_WRONG_THREAD);
    EXPECT_EQ(inside[1], NEXLET_PENDING);
}

TEST_F(ClientLibraryAsync, ShutdownInsideACallbackEndsTheOthers) {
    OpenAndCome([](const ScriptedRequest& request) {
        return request.nType == Number(MessageType::S_MT_GetWxAppStatus) ? Answer(request) : Silence(request);
    });
    m_ends.m_inside = [&](nexlet_client client, int number) {
        if (number == 1) {
            EXPECT_EQ(nexlet_shutdown(client), NEXLET_OK);
        }
    };
    Begin(NEXLET_TYPE_POLL, m_ends.Options());
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    ASSERT_TRUE(m_ends.WaitFor(2));
    EXPECT_EQ(m_ends.At(0).result, NEXLET_OK);
    EXPECT_EQ(m_ends.At(1).result, NEXLET_CLOSED);
}

TEST_F(ClientLibraryAsync, SlowCallbackHoldsUpNoOtherRequest) {
    OpenAndCome();
    CTally release;
    m_ends.m_inside = [&](nexlet_client, int number) {
        if (number == 1) {
            EXPECT_TRUE(release.WaitFor(1));
        }
    };
    nexlet_request_options silent = m_ends.Options();
    silent.on_done = nullptr;
    Begin(NEXLET_TYPE_STATUS, m_ends.Options());
    EXPECT_EQ(ResultOf(Begin(NEXLET_TYPE_STATUS, silent)), NEXLET_OK);
    EXPECT_TRUE(m_client.Status(kLongMs));
    EXPECT_EQ(m_ends.Count(), 0) << "the callback has not returned";
    release.Add();
    ASSERT_TRUE(m_ends.WaitFor(1));
}

TEST_F(ClientLibraryAsync, SlowCallbackKeepsNoOtherRequestBeyondItsLimit) {
    OpenAndCome(Silence);
    CTally entered;
    CTally release;
    m_ends.m_inside = [&](nexlet_client, int) {
        entered.Add();
        EXPECT_TRUE(release.WaitFor(1));
    };
    Begin(NEXLET_TYPE_STATUS, m_ends.Options(50));
    ASSERT_TRUE(entered.WaitFor(1));
    nexlet_request_options unheard = m_ends.Options(50);
    unheard.on_done = nullptr;
    EXPECT_EQ(ResultOf(Begin(NEXLET_TYPE_IDENTITY, unheard)), NEXLET_TIMEOUT);
    EXPECT_EQ(m_ends.Count(), 0) << "the callback has not returned";
    release.Add();
    ASSERT_TRUE(m_ends.WaitFor(1));
}

TEST_F(ClientLibraryAsync, RefusesWhatCannotBeSentAndCallsNothing) {
    OpenAndCome();
    const auto options = m_ends.Options();
    const nexlet_client client = m_client.Handle();
    nexlet_request request = 0;
    EXPECT_EQ(nexlet_begin(client, 8, "{}", &options, &request), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_begin(client, 2, "{", &options, &request), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_begin(client, 2, nullptr, &options, &request), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_begin(client, 2, "{}", nullptr, &request), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_begin_open(client, R"({"type":5})", &options, &request), NEXLET_BAD_ARGUMENT);
    EXPECT_NE(std::string(nexlet_last_error_text()).find("nexlet_begin_open: "), std::string::npos);
    EXPECT_EQ(nexlet_begin_poll(client, R"({"interval":-1})", &options, &request), NEXLET_BAD_ARGUMENT);
    nexlet_request_options small = options;
    small.struct_size = 4;
    EXPECT_EQ(nexlet_begin(client, 2, "{}", &small, &request), NEXLET_BAD_SIZE);
    EXPECT_EQ(request, 0u);
    EXPECT_EQ(nexlet_begin(0, 2, "{}", &options, &request), NEXLET_BAD_HANDLE);
    EXPECT_EQ(nexlet_cancel(0), NEXLET_BAD_HANDLE);
    m_client.Close();
    EXPECT_EQ(m_ends.Count(), 0);
}

TEST_F(ClientLibraryAsync, BeginCancelAndCloseOnManyThreadsEndEachRequestOnce) {
    for (int round = 0; round < 20; ++round) {
        CEnds ends;
        Open();
        Come(round % 2 == 0 ? Answer : Silence);
        const nexlet_client client = m_client.Handle();
        std::atomic<int> begun{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&, i] {
                const auto options = ends.Options();
                for (int n = 0; n < 10; ++n) {
                    nexlet_request request = 0;
                    if (nexlet_begin(client, 2 + (i + n) % 6, R"({"p1":"{}"})", &options, &request) == NEXLET_OK) {
                        ++begun;
                        if (n % 3 == 0) {
                            nexlet_cancel(request);
                        }
                        nexlet_request_close(request);
                    }
                }
            });
        }
        if (round % 4 < 2) {
            m_client.Close();
        } else if (round % 4 == 2) {
            m_helper.Leave();
        }
        for (std::thread& one : threads) {
            one.join();
        }
        m_client.Close();
        EXPECT_EQ(ends.Count(), begun);
        m_helper.Leave();
    }
}

TEST_F(ClientLibraryAsync, AThousandRequestsLeaveNoHandle) {
    OpenAndCome();
    nexlet_request_options silent = m_ends.Options();
    silent.on_done = nullptr;
    const auto round = [&](int i) {
        const nexlet_request request = Begin(NEXLET_TYPE_STATUS, silent);
        void* event = nullptr;
        EXPECT_EQ(nexlet_request_handle(request, &event), NEXLET_OK);
        if (i % 2 == 0) {
            nexlet_cancel(request);
        }
        EXPECT_EQ(WaitForSingleObject(event, kLongMs), DWORD{WAIT_OBJECT_0});
        EXPECT_EQ(nexlet_request_close(request), NEXLET_OK);
    };
    for (int i = 0; i < 10; ++i) {
        round(i);
    }
    const std::size_t before = OwnHandleCount();
    ASSERT_GT(before, 0u);
    for (int i = 0; i < 1000 && !HasFailure(); ++i) {
        round(i);
    }
    EXPECT_LE(OwnHandleCount(), before + 5);
}

TEST_F(ClientLibraryAsync, HeaderHasAnOwnerOfARequestAndAnEndAsAFunction) {
    OpenAndCome();
    CTally done;
    std::string word;
    nexlet::Request request;
    ASSERT_EQ(m_client.BeginPoll(R"({"type":"miniApp"})", kLongMs,
                                 [&](const nexlet::Outcome& outcome) {
                                     word = outcome.word;
                                     done.Add();
                                 },
                                 &request),
              NEXLET_OK);
    ASSERT_TRUE(done.WaitFor(1));
    EXPECT_EQ(word, "1");
    EXPECT_EQ(request.Result(0).value.word, "1");
    EXPECT_EQ(WaitForSingleObject(request.Event(), 0), DWORD{WAIT_OBJECT_0});
    request = nexlet::Request();
    auto alive = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = alive;
    EXPECT_EQ(m_client.Begin(8, "{}", kLongMs, [alive](const nexlet::Outcome&) {}), NEXLET_BAD_ARGUMENT);
    alive.reset();
    EXPECT_TRUE(watched.expired()) << "what was refused is freed";
}

}  // namespace
