// What every call of nexlet_client.dll has in common: one table of them all, and each result that all of them give.
#include "tests/unit/client/client_library_fixture.h"

#include <thread>

#include "tests/support/client_calls.h"
#include "tests/support/handle_count.h"

namespace {

using Kind = ClientCall::Kind;

class ClientLibraryCalls : public ClientLibrary {
  protected:
    static std::string Named(const ClientCall& one, nexlet_result result) {
        return std::string(one.pszName) + " gives " + nexlet_result_name(result);
    }
};

TEST_F(ClientLibraryCalls, ClosedHandleIsNobodysForEachOfThem) {
    Open();
    const nexlet_client handle = m_client.Handle();
    m_client.Close();
    for (const ClientCall& one : AllClientCalls()) {
        const nexlet_result result = one.call(handle, kLongMs);
        EXPECT_EQ(result, NEXLET_BAD_HANDLE) << Named(one, result);
    }
    EXPECT_EQ(nexlet_wait_connected(handle, kLongMs), NEXLET_BAD_HANDLE);
    EXPECT_EQ(nexlet_wait_lost(handle, kLongMs), NEXLET_BAD_HANDLE);
    EXPECT_EQ(nexlet_wait_process_end(handle, kLongMs, nullptr), NEXLET_BAD_HANDLE);
    nexlet_helper helper = {};
    helper.struct_size = sizeof helper;
    EXPECT_EQ(nexlet_helper_process(handle, &helper), NEXLET_BAD_HANDLE);
}

TEST_F(ClientLibraryCalls, ShutDownClientIsClosedForEachOfThem) {
    OpenAndCome();
    ASSERT_EQ(m_client.Shutdown(), NEXLET_OK);
    for (const ClientCall& one : AllClientCalls()) {
        const nexlet_result result = one.call(m_client.Handle(), kLongMs);
        EXPECT_EQ(result, NEXLET_CLOSED) << Named(one, result);
    }
    EXPECT_EQ(m_client.WaitConnected(kLongMs), NEXLET_CLOSED);
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_CLOSED);
    EXPECT_EQ(m_client.Start(kLongMs), NEXLET_CLOSED);
}

TEST_F(ClientLibraryCalls, NobodyIsConnectedForEachThatSends) {
    Open();
    for (const ClientCall& one : AllClientCalls()) {
        if (one.kind != Kind::Wait) {
            const nexlet_result result = one.call(m_client.Handle(), kLongMs);
            EXPECT_EQ(result, NEXLET_NOT_CONNECTED) << Named(one, result);
        }
    }
}

TEST_F(ClientLibraryCalls, SilenceIsATimeoutForEachThatWaits) {
    OpenAndCome(Silence);
    for (const ClientCall& one : AllClientCalls()) {
        const nexlet_result result = one.call(m_client.Handle(), 50);
        EXPECT_EQ(result, one.kind == Kind::Notice ? NEXLET_OK : NEXLET_TIMEOUT) << Named(one, result);
    }
}

TEST_F(ClientLibraryCalls, HelperThatGoesInTheMiddleEndsEachRequest) {
    for (const ClientCall& one : AllClientCalls()) {
        if (one.kind != Kind::Request) {
            continue;
        }
        Open();
        CScriptedHelper helper;
        ASSERT_TRUE(helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence));
        ASSERT_EQ(m_client.WaitConnected(kLongMs), NEXLET_OK);
        nexlet_result result = NEXLET_OK;
        std::thread asker([&] { result = one.call(m_client.Handle(), kLongMs); });
        EXPECT_TRUE(helper.WaitForRequests(1));
        helper.Leave();
        asker.join();
        // An exit asks for just this; its success is another matter than the loss of a connection.
        const bool exit = one.pszName == std::string("nexlet_exit");
        EXPECT_EQ(result, exit ? NEXLET_OK : NEXLET_GONE) << Named(one, result);
        m_client.Close();
    }
}

TEST_F(ClientLibraryCalls, InsideACallbackEachOfThemIsRefused) {
    std::atomic<nexlet_client> handle{0};
    std::vector<nexlet_result> results;
    CTally seen;
    Open({{}, [&](std::int32_t direction, std::string_view) {
              if (direction == NEXLET_RECEIVED && seen.Count() == 0) {
                  for (const ClientCall& one : AllClientCalls()) {
                      results.push_back(one.call(handle, 1));
                  }
                  results.push_back(nexlet_start(handle, nullptr, 1));
                  results.push_back(nexlet_wait_connected(handle, 1));
                  results.push_back(nexlet_wait_lost(handle, 1));
                  results.push_back(nexlet_wait_process_end(handle, 1, nullptr));
                  seen.Add();
              }
          }});
    handle = m_client.Handle();
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence));
    ASSERT_TRUE(seen.WaitFor(1));
    EXPECT_EQ(results, std::vector<nexlet_result>(results.size(), NEXLET_WRONG_THREAD));
    m_client.Close();
}

TEST_F(ClientLibraryCalls, AThousandConnectionsLeaveNoHandle) {
    const auto round = [&](bool lost) {
        OpenAndCome();
        EXPECT_TRUE(m_client.Status(kLongMs));
        // Under way while the connection ends, or answered just before; either way with an event of its own.
        nexlet::Request request;
        EXPECT_EQ(m_client.Begin(NEXLET_TYPE_IDENTITY, "{}", kLongMs, {}, &request), NEXLET_OK);
        EXPECT_NE(request.Event(), nullptr);
        if (lost) {
            m_helper.Leave();
            EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
        }
        m_client.Close();
        m_helper.Leave();
    };
    // What the system keeps for later is made at the first ones.
    for (int i = 0; i < 10; ++i) {
        round(i % 2 == 0);
    }
    const std::size_t before = OwnHandleCount();
    ASSERT_GT(before, 0u);
    for (int i = 0; i < 1000 && !HasFailure(); ++i) {
        round(i % 2 == 0);
    }
    EXPECT_LE(OwnHandleCount(), before + 5);
}

TEST_F(ClientLibraryCalls, AThousandReconnectionsToOneClientLeaveNoHandle) {
    OpenAndCome();
    const auto round = [&] {
        m_helper.Leave();
        EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
        Come();
        EXPECT_TRUE(m_client.Status(kLongMs));
    };
    round();
    const std::size_t before = OwnHandleCount();
    ASSERT_GT(before, 0u);
    for (int i = 0; i < 1000 && !HasFailure(); ++i) {
        round();
    }
    EXPECT_LE(OwnHandleCount(), before + 5);
    EXPECT_EQ(m_client.Helper().connections, 1002u);
}

}  // namespace
