// What nexlet_client.hpp adds to the C functions: callbacks that outlive whatever becomes of their client.
#include <atomic>
#include <stdexcept>
#include <thread>

#include "tests/support/message_number.h"
#include "tests/unit/client/client_library_fixture.h"

namespace {

class ClientHeader : public ClientLibrary {
  protected:
    bool ComeTo(CScriptedHelper& helper) {
        return helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence);
    }
};

TEST_F(ClientHeader, CloseAndOpenInsideACallbackAreRefusedAndChangeNothing) {
    nexlet_result closed = NEXLET_OK;
    nexlet_result opened = NEXLET_OK;
    CTally seen;
    Open({{}, [&](std::int32_t direction, std::string_view) {
              if (direction == NEXLET_RECEIVED && seen.Count() == 0) {
                  closed = m_client.Close();
                  opened = m_client.Open(m_strMark, "another");
                  seen.Add();
              }
          }});
    Come();
    ASSERT_TRUE(seen.WaitFor(1));
    EXPECT_EQ(closed, NEXLET_WRONG_THREAD);
    EXPECT_EQ(opened, NEXLET_WRONG_THREAD);
    EXPECT_TRUE(m_client.Status(kLongMs)) << "it is as good as before";
    EXPECT_EQ(m_client.Close(), NEXLET_OK);
    EXPECT_EQ(m_client.Close(), NEXLET_OK);
}

TEST_F(ClientHeader, ClientDestroyedInsideACallbackIsFreedAfterIt) {
    auto alive = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = alive;
    auto client = std::make_unique<nexlet::Client>();
    CTally seen;
    nexlet::Callbacks callbacks;
    callbacks.onFrame = [&, alive = std::move(alive)](std::int32_t, std::string_view) {
        client.reset();
        // What the callback uses still exists.
        *alive = 1;
        EXPECT_EQ(*alive, 1);
        EXPECT_FALSE(watched.expired());
        seen.Add();
    };
    ASSERT_EQ(client->Open(m_strMark, "svc", std::move(callbacks)), NEXLET_OK);
    const nexlet_client handle = client->Handle();
    ASSERT_TRUE(ComeTo(m_helper));
    ASSERT_TRUE(seen.WaitFor(1));
    m_helper.WaitForEnd();
    while (!watched.expired()) {
        Sleep(1);
    }
    EXPECT_EQ(nexlet_shutdown(handle), NEXLET_BAD_HANDLE);
    EXPECT_EQ(m_client.Open(m_strMark, "svc"), NEXLET_OK) << "the name is free";
}

TEST_F(ClientHeader, AssignmentInsideACallbackEndsTheClient) {
    CTally seen;
    Open({{}, [&](std::int32_t direction, std::string_view) {
              if (direction == NEXLET_RECEIVED) {
                  m_client = nexlet::Client();
                  seen.Add();
              }
          }});
    ASSERT_TRUE(ComeTo(m_helper));
    ASSERT_TRUE(seen.WaitFor(1));
    m_helper.WaitForEnd();
    EXPECT_FALSE(m_client);
}

TEST_F(ClientHeader, ExceptionOfACallbackIsToldAndGoesNoFurther) {
    std::vector<std::string> told;
    CTally count;
    nexlet::Callbacks callbacks;
    callbacks.onFrame = [](std::int32_t, std::string_view payload) {
        if (payload.find("1}") != std::string_view::npos) {
            throw std::runtime_error("of the callback");
        }
        throw 7;
    };
    callbacks.onGone = [] { throw std::logic_error("gone"); };
    callbacks.onError = [&](const char* what) {
        told.emplace_back(what);
        count.Add();
        throw std::runtime_error("of the last resort");
    };
    Open(std::move(callbacks));
    Come();
    EXPECT_TRUE(m_client.Send(Number(MessageType::S_MT_InitWxApp), "{}", kLongMs) == NEXLET_OK);
    m_helper.Leave();
    ASSERT_TRUE(count.WaitFor(3));
    EXPECT_EQ(told, (std::vector<std::string>{"an exception that is no std::exception", "of the callback", "gone"}));
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
}

TEST_F(ClientHeader, OpenAndCloseOnManyThreadsLeaveOneClientOrNone) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&, i] {
            for (int n = 0; n < 50; ++n) {
                if ((i + n) % 2 == 0) {
                    const nexlet_result result = m_client.Open(m_strMark, "svc" + std::to_string(i));
                    EXPECT_TRUE(result == NEXLET_OK || result == NEXLET_NAME_TAKEN) << nexlet_result_name(result);
                } else {
                    m_client.Close();
                }
            }
        });
    }
    for (std::thread& one : threads) {
        one.join();
    }
    m_client.Close();
    for (int i = 0; i < 4; ++i) {
        // Nothing was left open that would hold the name.
        EXPECT_EQ(m_client.Open(m_strMark, "svc" + std::to_string(i)), NEXLET_OK) << i;
    }
}

TEST_F(ClientHeader, NamesOfTheFirstVersionAreTheSameTypes) {
    EXPECT_TRUE((std::is_same_v<CNexletClient, nexlet::Client>));
    EXPECT_TRUE((std::is_same_v<NexletAnswer<bool>, nexlet::Answer<bool>>));
    EXPECT_TRUE((std::is_same_v<NexletFrame, nexlet::Frame>));
    EXPECT_TRUE((std::is_same_v<NexletIdentity, nexlet::Identity>));
}

}  // namespace
