// A host of a test with real pipes and a real message window, and a caller's pipe for it to connect to.
#pragma once

#include "foundation/windows_headers.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/helper_host.h"
#include "ipc/transport/iocp_server.h"
#include "tests/support/log_capture.h"

// The caller's end of a service pipe: collects the frames that the helper sends.
class CCallerEnd final : public IPipeConnectCallback {
  public:
    // Serves the pipe of a mark and service id until Stop.
    CCallerEnd(const std::wstring& mark, const std::string& serviceId);
    ~CCallerEnd();

    void Send(const std::string& payload) { m_pServer->Send(payload); }
    // The payloads so far, once there are count of them or the time is up.
    std::vector<std::string> WaitForFrames(std::size_t count);

    void Connected() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t length) override;
    void Lost() override {}

  private:
    std::shared_ptr<CIOCP_Server> m_pServer;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_vecFrames;
};

// Background threads that only count.
extern const HostThreads kCountingThreads;

// Makes hosts that stay to the end of the test program, since what they start may look at them until then. Their
// background threads only count. Nothing of a test is sent over the network.
class CHostFixture : public testing::Test {
  protected:
    CHostFixture();
    ~CHostFixture() override;

    // "/from:MARK /service_id:ID" with a mark that no other test has.
    std::wstring CommandLine() const;
    // A command line of the fixture's mark without a channel.
    void StartHost() { m_host.Init(CommandLine()); }

    // One envelope, as the host's pipe hands it over. The result of ReceiveIPCMessage.
    int Receive(const std::string& message);
    // Whether the main loop of this thread was told to end; takes the message away.
    static bool TakeQuitMessage();
    // Changes the record of an instance.
    void SetTasks(const std::string& serviceId, int op) { SetParam(serviceId, op, kParamKeep, kParamKeep); }
    void SetParam(const std::string& serviceId, std::int32_t taskOp, std::int32_t dllOp, std::int32_t destroyOp);

    std::wstring m_mark;
    LogCapture m_log;
    CommzoltHelperS& m_host;
};

// How often the background threads of this test were started, in the order hang watcher, CPU, configuration.
struct StartedThreads {
    int nHangWatcher;
    int nMonCPUUsage;
    int nConfInfo;
};
// Waits until each of the three has run count times, or the time is up.
StartedThreads WaitForStartedThreads(int count);
// Waits until the two watchdogs have run. False when the time is up.
bool WaitForWatchdogs();
