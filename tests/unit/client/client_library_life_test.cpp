// How a client of nexlet_client.dll comes, is lost and ends, and what it refuses to begin.
#include "tests/unit/client/client_library_fixture.h"

#include <atomic>
#include <thread>

#include "tests/support/handle_count.h"
#include "tests/support/raw_pipe.h"

namespace {

TEST_F(ClientLibrary, RequestBeforeAHelperHasConnectedSaysSo) {
    Open();
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_NOT_CONNECTED);
    EXPECT_EQ(m_client.WaitProcessEnd(0).result, NEXLET_NOT_CONNECTED);
    EXPECT_EQ(m_client.WaitConnected(0), NEXLET_TIMEOUT);
    EXPECT_EQ(m_client.Exit(kLongMs).result, NEXLET_NOT_CONNECTED);
}

TEST_F(ClientLibrary, HelperThatLeavesEndsAWaitingRequest) {
    Open({[&] { m_gone.Add(); }, {}});
    Come(Silence);
    std::thread asker([&] { EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE); });
    ASSERT_TRUE(m_helper.WaitForRequests(1));
    m_helper.Leave();
    asker.join();
    EXPECT_TRUE(m_gone.WaitFor(1));
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_GONE);
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    Come();
    EXPECT_TRUE(m_client.Status(kLongMs)) << "it came again";
    EXPECT_EQ(m_gone.Count(), 1);
    EXPECT_EQ(m_client.Helper().connections, 2u);
    EXPECT_EQ(m_client.Helper().connected, 1);
}

TEST_F(ClientLibrary, ProbeThatLeavesWithoutAByteIsNoLoss) {
    Open({[&] { m_gone.Add(); }, {}});
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence, /*notice=*/false));
    m_helper.Leave();
    Come();
    m_helper.Leave();
    EXPECT_TRUE(m_gone.WaitFor(1));
    EXPECT_EQ(m_client.WaitLost(kLongMs), NEXLET_OK);
    m_client.Close();
    EXPECT_EQ(m_gone.Count(), 1);
}

TEST_F(ClientLibrary, OwnCloseIsNoLoss) {
    Open({[&] { m_gone.Add(); }, {}});
    Come();
    m_client.Close();
    EXPECT_EQ(m_gone.Count(), 0);
}

TEST_F(ClientLibrary, CallsInsideACallbackThatCouldWaitForThemselvesAreRefused) {
    std::atomic<nexlet_client> handle{0};
    nexlet_result results[4] = {};
    CTally seen;
    Open({{}, [&](std::int32_t direction, std::string_view) {
              if (direction == NEXLET_RECEIVED && seen.Count() == 0) {
                  nexlet_app_status status = {};
                  status.struct_size = sizeof status;
                  nexlet_helper helper = {};
                  helper.struct_size = sizeof helper;
                  results[0] = nexlet_status(handle, 1, &status);
                  results[1] = nexlet_close(handle);
                  results[2] = nexlet_helper_process(handle, &helper);
                  results[3] = nexlet_shutdown(handle);
                  seen.Add();
              }
          }});
    handle = m_client.Handle();
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), "svc"), Silence));
    ASSERT_TRUE(seen.WaitFor(1));
    EXPECT_EQ(results[0], NEXLET_WRONG_THREAD);
    EXPECT_EQ(results[1], NEXLET_WRONG_THREAD);
    EXPECT_EQ(results[2], NEXLET_OK);
    EXPECT_EQ(results[3], NEXLET_OK);
    EXPECT_EQ(m_client.Status(kLongMs).result, NEXLET_CLOSED);
    m_client.Close();
}

TEST_F(ClientLibrary, TakenNameIsToldAndFreeAgainAfterClose) {
    Open();
    CNexletClient second;
    EXPECT_EQ(second.Open(m_strMark, "svc"), NEXLET_NAME_TAKEN);
    EXPECT_NE(GetLastError(), 0u);
    EXPECT_EQ(second.Open(m_strMark, "another"), NEXLET_OK);
    m_client.Close();
    EXPECT_EQ(second.Open(m_strMark, "svc"), NEXLET_OK);
}

TEST_F(ClientLibrary, ArgumentsThatCannotBeUsedAreToldBeforeAnythingIsDone) {
    nexlet_client handle = 0;
    nexlet_options options = {};
    options.struct_size = sizeof options;
    options.mark = m_strMark.c_str();
    options.service_id = "";
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT);
    const std::string tooLong(217 - m_strMark.size(), 'x');
    options.service_id = tooLong.c_str();
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT);
    const std::string longMark(216, 'm');
    options.mark = longMark.c_str();
    options.service_id = "s";
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_ARGUMENT) << "together they are too long";
    EXPECT_EQ(nexlet_host_send(longMark.c_str(), "x", 1, 0, nullptr), NEXLET_BAD_ARGUMENT);
    options.mark = m_strMark.c_str();
    options.service_id = "svc";
    EXPECT_EQ(nexlet_open(nullptr, &handle), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_open(&options, nullptr), NEXLET_BAD_ARGUMENT);
    options.struct_size = sizeof options - 1;
    EXPECT_EQ(nexlet_open(&options, &handle), NEXLET_BAD_SIZE);
    EXPECT_EQ(handle, 0u);

    Open();
    nexlet_start_options start = {};
    EXPECT_EQ(nexlet_start(m_client.Handle(), &start, 0), NEXLET_BAD_SIZE);
    start.flags = 0x80;
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    start.flags = 0;
    start.type = "6 /from:another";
    EXPECT_EQ(m_client.Start(start, 0), NEXLET_BAD_ARGUMENT);
    nexlet_app_status status = {};
    EXPECT_EQ(nexlet_status(m_client.Handle(), 0, &status), NEXLET_BAD_SIZE);
    EXPECT_EQ(nexlet_status(m_client.Handle(), 0, nullptr), NEXLET_BAD_ARGUMENT);
    nexlet_helper helper = {};
    EXPECT_EQ(nexlet_helper_process(m_client.Handle(), &helper), NEXLET_BAD_SIZE);
    char* text = nullptr;
    EXPECT_EQ(nexlet_encrypt(m_client.Handle(), nullptr, 0, &text), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_encrypt(m_client.Handle(), "x", 0, nullptr), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_send_payload(m_client.Handle(), nullptr, 1, 0), NEXLET_BAD_ARGUMENT);
    EXPECT_EQ(nexlet_host_send("", "x", 1, 0, &text), NEXLET_BAD_ARGUMENT);
}

TEST_F(ClientLibrary, LongestNamesWork) {
    // 216 of the 256 characters of a pipe's name are left for mark and service id.
    const std::string service(216 - m_strMark.size(), 's');
    ASSERT_EQ(m_client.Open(m_strMark, service), NEXLET_OK) << GetLastError();
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), service), Answer));
    EXPECT_EQ(m_client.WaitFrame(NEXLET_TYPE_READY, kLongMs).result, NEXLET_OK);
}

TEST_F(ClientLibrary, ClientWithoutAServiceIdHasOneOfItsOwn) {
    ASSERT_EQ(m_client.Open(m_strMark), NEXLET_OK) << GetLastError();
    CNexletClient second;
    ASSERT_EQ(second.Open(m_strMark), NEXLET_OK) << GetLastError();
    const std::string id = m_client.ServiceId();
    EXPECT_FALSE(id.empty());
    EXPECT_LE(id.size(), 32u);
    EXPECT_NE(id, second.ServiceId());
    ASSERT_TRUE(m_helper.Come(ServicePipeName(Utf8ToUtf16(m_strMark), id), Answer));
    ASSERT_EQ(m_client.WaitConnected(kLongMs), NEXLET_OK);
    EXPECT_TRUE(m_client.Status(kLongMs));
    EXPECT_EQ(m_client.Open(m_strMark, "svc"), NEXLET_OK);
    EXPECT_EQ(m_client.ServiceId(), "svc");
}

// A host that acknowledges a command line and does not come, as one does that may not open the pipe, or holds the
// service from an earlier run.
TEST_F(ClientLibrary, HelperThatAcknowledgesAndDoesNotComeIsAskedToLetGoAndTheProgramIsStarted) {
    Open();
    const std::wstring hostName = HostPipeName(Utf8ToUtf16(m_strMark));
    std::vector<std::string> seen;
    CRawPipe first = CRawPipe::Serve(hostName, 2);
    CRawPipe next = CRawPipe::Serve(hostName, 2);
    std::thread host([&] {
        EXPECT_TRUE(first.WaitForClient());
        seen.push_back(first.ReadFrame().value_or(""));
        EXPECT_TRUE(first.WriteFrame("1"));
        EXPECT_TRUE(next.WaitForClient());
        seen.push_back(next.ReadFrame().value_or(""));
    });
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const std::string program = Utf16ToUtf8(system) + "\\hostname.exe";
    nexlet_start_options start = {};
    start.program = program.c_str();
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_GONE);
    host.join();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_NE(seen[0].find(R"("message_type":1})"), std::string::npos) << seen[0];
    EXPECT_EQ(seen[1], R"({"content":{"service_id":"svc"},"message_type":9})");
    EXPECT_EQ(m_client.Helper().ended, 1) << "of the program";
    EXPECT_EQ(m_client.Helper().forwarded, 0);
    EXPECT_NE(m_client.Helper().process_id, GetCurrentProcessId());
}

TEST_F(ClientLibrary, NameThatTheSystemRefusesIsASystemErrorWithItsReason) {
    SetLastError(0);
    EXPECT_EQ(m_client.Open("no\\such\\folder", "svc"), NEXLET_SYSTEM_ERROR);
    EXPECT_NE(GetLastError(), 0u);
}

TEST_F(ClientLibrary, MissingProgramIsNotStarted) {
    Open();
    nexlet_start_options start = {};
    start.program = "C:\\no such folder\\nexlet.exe";
    SetLastError(0);
    EXPECT_EQ(m_client.Start(start, kLongMs), NEXLET_NOT_STARTED);
    EXPECT_NE(GetLastError(), 0u);
}

TEST_F(ClientLibrary, HostOfAMarkThatNobodyServesIsNotConnected) {
    char* answer = nullptr;
    EXPECT_EQ(nexlet_host_send(m_strMark.c_str(), "x", 1, 0, &answer), NEXLET_NOT_CONNECTED);
    EXPECT_EQ(answer, nullptr);
}

TEST_F(ClientLibrary, ClosedHandleIsNobodys) {
    Open();
    const nexlet_client handle = m_client.Handle();
    m_client.Close();
    for (const nexlet_client one : {handle, nexlet_client{0}, ~nexlet_client{0}}) {
        char* text = nullptr;
        EXPECT_EQ(nexlet_close(one), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_shutdown(one), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_start(one, nullptr, 0), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_encrypt(one, "x", 0, &text), NEXLET_BAD_HANDLE);
        EXPECT_EQ(nexlet_send_payload(one, "x", 1, 0), NEXLET_BAD_HANDLE);
    }
    Open();
    EXPECT_NE(m_client.Handle(), handle);
}

TEST_F(ClientLibrary, ShutdownWakesEveryKindOfWait) {
    OpenAndCome(Silence);
    const std::function<nexlet_result()> waits[] = {
        [&] { return m_client.Status(kLongMs).result; },
        [&] { return m_client.Status(kLongMs).result; },  // waits for its turn
        [&] { return m_client.Identity(kLongMs).result; },
        [&] { return m_client.WaitFrame(0, kLongMs).result; },
        [&] { return m_client.WaitLost(kLongMs); },
        [&] { return m_client.AwaitTarget("{}", kLongMs, kLongMs).result; },
        [&] { return m_client.Exit(kLongMs).result; },
    };
    std::vector<std::thread> threads;
    for (const auto& wait : waits) {
        threads.emplace_back([&] {
            const nexlet_result result = wait();
            EXPECT_EQ(result, NEXLET_CLOSED) << nexlet_result_name(result);
        });
    }
    ASSERT_TRUE(m_helper.WaitForRequests(4)) << "status, identity, await, exit";
    EXPECT_EQ(m_client.Shutdown(), NEXLET_OK);
    for (std::thread& one : threads) {
        one.join();
    }
    EXPECT_EQ(m_client.Shutdown(), NEXLET_OK);
}

TEST_F(ClientLibrary, CloseWaitsForTheCallsUnderWay) {
    for (int round = 0; round < 20; ++round) {
        Open();
        Come(Silence);
        const nexlet_client handle = m_client.Handle();
        std::atomic<int> back{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                char* text = nullptr;
                const nexlet_result result = nexlet_encrypt(handle, "x", kLongMs, &text);
                EXPECT_TRUE(result == NEXLET_CLOSED || result == NEXLET_BAD_HANDLE) << nexlet_result_name(result);
                ++back;
            });
        }
        if (round % 2 == 0) {
            ASSERT_TRUE(m_helper.WaitForRequests(1));
        }
        m_client.Close();
        for (std::thread& one : threads) {
            one.join();
        }
        EXPECT_EQ(back, 4);
        m_helper.Leave();
    }
}

TEST_F(ClientLibrary, LeavesNoHandleBehind) {
    const auto round = [&] {
        OpenAndCome();
        EXPECT_TRUE(m_client.Status(kLongMs));
        m_client.Close();
        m_helper.Leave();
    };
    round();
    const std::size_t before = OwnHandleCount();
    for (int i = 0; i < 20; ++i) {
        round();
    }
    EXPECT_LT(OwnHandleCount(), before + 20);
}

}  // namespace
