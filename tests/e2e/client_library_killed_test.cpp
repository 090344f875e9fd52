// The real helper killed in the middle of each call of nexlet_client.dll, and two callers that want one service.
#include <atomic>
#include <thread>

#include "client/include/nexlet_client.hpp"
#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/client_calls.h"
#include "tests/support/console_program.h"

#include <tlhelp32.h>

namespace {

constexpr std::uint32_t kLimitMs = 60000;

// All threads of the process, which then reads nothing and answers nothing.
bool Suspend(DWORD process) {
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more != FALSE;
         more = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID == process) {
            const CKernelHandle thread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID));
            if (!thread || SuspendThread(thread.get()) == static_cast<DWORD>(-1)) {
                return false;
            }
            ++count;
        }
    }
    return count > 0;
}

class ClientLibraryKilled : public CEndToEnd {
  protected:
    void SetUp() override {
        ASSERT_TRUE(m_sandbox.Ready()) << GetLastError();
        m_strProgram = Utf16ToUtf8(m_sandbox.Exe());
    }
    void TearDown() override {
        m_client.Close();
        CEndToEnd::TearDown();
    }

    // A service id of its own for each life.
    void OpenAndStart() {
        const std::string service = m_strService + std::to_string(++m_nLives);
        m_nSent = 0;
        ASSERT_EQ(m_client.Open(Utf16ToUtf8(m_strMark), service,
                                {{},
                                 [this](std::int32_t direction, std::string_view) {
                                     m_nSent += direction == NEXLET_SENT ? 1 : 0;
                                 }}),
                  NEXLET_OK);
        ASSERT_EQ(m_client.Start(Options(), kLongMs), NEXLET_OK);
        ASSERT_TRUE(m_helper.Attach(m_client.Helper().process_id));
    }
    nexlet_start_options Options() const {
        nexlet_start_options options = {};
        options.program = m_strProgram.c_str();
        return options;
    }

    // What call gives when the helper is suspended before it, and killed when `begun` says that the call is under way.
    nexlet_result KilledDuring(const std::function<nexlet_result()>& call, const std::function<bool()>& begun) {
        EXPECT_TRUE(Suspend(m_helper.Id()));
        std::atomic<bool> entered{false};
        nexlet_result result = NEXLET_OK;
        std::thread caller([&] {
            entered = true;
            result = call();
        });
        const ULONGLONG startedAt = GetTickCount64();
        while (!(entered && begun()) && GetTickCount64() - startedAt < kLongMs) {
            Sleep(1);
        }
        EXPECT_TRUE(begun());
        m_helper.Kill();
        caller.join();
        m_client.Close();
        return result;
    }

    std::string m_strProgram;
    CNexletClient m_client;
    std::atomic<int> m_nSent{0};
    int m_nLives = 0;
};

TEST_F(ClientLibraryKilled, EachCallThatIsUnderWayFindsTheHelperGone) {
    for (const ClientCall& one : AllClientCalls()) {
        ASSERT_NO_FATAL_FAILURE(OpenAndStart());
        const nexlet_client handle = m_client.Handle();
        const nexlet_result result = KilledDuring([&] { return one.call(handle, kLimitMs); },
                                                  [&] { return one.kind == ClientCall::Kind::Wait || m_nSent > 0; });
        // A wait for the limit, which is far off, would be a NEXLET_TIMEOUT. The end is what an exit asks for, so an
        // exit that the system had taken for the helper before it was killed has succeeded.
        const bool exited = one.pszName == std::string("nexlet_exit") && result == NEXLET_OK;
        // What has no reply is done when the system has taken it for the helper.
        const bool sent = one.kind == ClientCall::Kind::Notice && result == NEXLET_OK;
        EXPECT_TRUE(result == NEXLET_GONE || exited || sent) << one.pszName << " gives " << nexlet_result_name(result);
    }
}

TEST_F(ClientLibraryKilled, WaitsForItsEndAreDone) {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    EXPECT_EQ(KilledDuring([&] { return m_client.WaitLost(kLimitMs); }, [] { return true; }), NEXLET_OK);
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    NexletAnswer<std::uint32_t> end;
    EXPECT_EQ(KilledDuring(
                  [&] {
                      end = m_client.WaitProcessEnd(kLimitMs);
                      return end.result;
                  },
                  [] { return true; }),
              NEXLET_OK);
    EXPECT_NE(end.value, STILL_ACTIVE);
}

TEST_F(ClientLibraryKilled, FrameToTheHostFindsItGone) {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    const std::string mark = Utf16ToUtf8(m_strMark);
    const auto send = [&] {
        char* answer = nullptr;
        const nexlet_result sent = nexlet_host_send(mark.c_str(), "x", 1, kLimitMs, &answer);
        nexlet_free(answer);
        return sent;
    };
    const nexlet_result result = KilledDuring(send, [] { return true; });
    // Killed before the call had found the host there is none of this mark.
    EXPECT_TRUE(result == NEXLET_GONE || result == NEXLET_NOT_CONNECTED) << nexlet_result_name(result);
}

TEST_F(ClientLibraryKilled, AnyMomentOfItsStartIsNoHang) {
    for (int round = 0; round < 8; ++round) {
        ASSERT_EQ(m_client.Open(Utf16ToUtf8(m_strMark), m_strService + std::to_string(round)), NEXLET_OK);
        nexlet_result result = NEXLET_OK;
        std::thread starter([&] { result = m_client.Start(Options(), kLimitMs); });
        while (m_client.Helper().process_id == 0) {
            Sleep(0);
        }
        ASSERT_TRUE(m_helper.Attach(m_client.Helper().process_id));
        // A little later in each round, until after the notice.
        WaitForSingleObject(m_helper.Handle(), static_cast<DWORD>(round * 10));
        m_helper.Kill();
        starter.join();
        EXPECT_TRUE(result == NEXLET_GONE || result == NEXLET_OK) << round << ": " << nexlet_result_name(result);
        m_client.Close();
    }
}

TEST_F(ClientLibraryKilled, SecondCallerOfAServiceIsToldThatItIsTaken) {
    ASSERT_NO_FATAL_FAILURE(OpenAndStart());
    const std::string service = m_strService + std::to_string(m_nLives);
    // The console is a 64-bit program, and needs the library of its own kind beside it.
    const ConsoleRun second = RunConsoleProgram(OwnFolder() + (sizeof(void*) == 8 ? L"" : L"\\x64") + L"\\nexctl.exe",
                                                {"status", "--mark", Utf16ToUtf8(m_strMark), "--service", service});
    EXPECT_EQ(second.dwExitCode, 2u) << second.strOut << second.strErr;
    EXPECT_NE(second.strErr.find(nexlet_result_text(NEXLET_NAME_TAKEN)), std::string::npos) << second.strErr;
    EXPECT_TRUE(m_client.Status(kLongMs)) << "the first one is served on";
    EXPECT_EQ(m_client.Helper().connected, 1);
}

}  // namespace
