#include "client/host_pipe.h"

#include <thread>

#include <gtest/gtest.h>

#include "client/caller_pipe.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/message_number.h"
#include "tests/support/raw_pipe.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::uint32_t kLongMs = 10000;

// A host that answers every frame it gets with the acknowledgement.
class CAnsweringHost final : public ICallerPipeSink {
  public:
    explicit CAnsweringHost(const std::wstring& mark) : m_pipe(HostPipeName(mark), HostEventName(mark), *this) {
        DWORD systemError = 0;
        EXPECT_EQ(m_pipe.Start(systemError), CallerResult::Ok) << systemError;
    }
    ~CAnsweringHost() {
        m_pipe.Stop();
        if (m_answer.joinable()) {
            m_answer.join();
        }
    }

    void OnConnected() override {}
    void OnBytes(const char* data, std::size_t size) override {
        m_strSeen.append(data, size);
        if (!m_answer.joinable()) {
            m_answer = std::thread([this] { m_pipe.Send(BuildFrame(kHostAcknowledgement), kLongMs); });
        }
    }
    void OnLost() override {}

    const std::string& Seen() const { return m_strSeen; }
    CCallerPipe& Pipe() { return m_pipe; }

  private:
    CCallerPipe m_pipe;
    std::string m_strSeen;
    std::thread m_answer;
};

TEST(HostPipe, SendsAnEnvelopeAndTakesTheAcknowledgement) {
    const std::wstring mark = UniqueName(L"hostpipe");
    CAnsweringHost server(mark);
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(mark, kLongMs, systemError), CallerResult::Ok) << systemError;
    ASSERT_EQ(host.Send(Number(MessageType::S_MT_InitWxApp), "/from:x", kLongMs), CallerResult::Ok);
    std::string payload;
    ASSERT_EQ(host.WaitForPayload(kLongMs, payload), CallerResult::Ok);
    EXPECT_EQ(payload, kHostAcknowledgement);
    EXPECT_EQ(server.Seen(), BuildFrame(R"({"content":"/from:x","message_type":1})"));
}

TEST(HostPipe, SaysThatThereIsNoHost) {
    CHostPipe host;
    DWORD systemError = 0;
    EXPECT_EQ(host.Connect(UniqueName(L"hostpipe"), 50, systemError), CallerResult::NotConnected);
    EXPECT_EQ(systemError, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(host.Send(Number(MessageType::S_MT_GetWxAppStatus), Json::Value(), kLongMs), CallerResult::NotConnected);
}

TEST(HostPipe, WaitsForABusyHostNoLongerThanItsLimit) {
    const std::wstring mark = UniqueName(L"hostpipe");
    CAnsweringHost server(mark);
    CHostPipe first;
    DWORD systemError = 0;
    ASSERT_EQ(first.Connect(mark, kLongMs, systemError), CallerResult::Ok);
    CHostPipe second;
    EXPECT_EQ(second.Connect(mark, 50, systemError), CallerResult::Timeout);
    first.Close();
    EXPECT_EQ(second.Connect(mark, kLongMs, systemError), CallerResult::Ok) << systemError;
}

TEST(HostPipe, SilenceIsATimeoutAndAnEndedConnectionIsGone) {
    const std::wstring mark = UniqueName(L"hostpipe");
    CAnsweringHost server(mark);
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(mark, kLongMs, systemError), CallerResult::Ok);
    std::string payload;
    EXPECT_EQ(host.WaitForPayload(50, payload), CallerResult::Timeout);
    while (!server.Pipe().Connected()) {
        Sleep(1);
    }
    server.Pipe().Disconnect();
    EXPECT_EQ(host.WaitForPayload(kLongMs, payload), CallerResult::Gone);
}

// A host that does not read by itself.
struct SilentHost {
    explicit SilentHost(const std::wstring& mark)
        : pipe(CRawPipe::Serve(HostPipeName(mark), 1)),
          gate(CreateEventW(nullptr, TRUE, TRUE, HostEventName(mark).c_str())) {}
    CRawPipe pipe;
    CKernelHandle gate;
};

// More than any pipe takes without a reader.
const std::string kStuckText(4 << 20, 'x');

TEST(HostPipe, GateIsOpenWhileASendWaitsForItsReader) {
    const std::wstring mark = UniqueName(L"hostpipe");
    SilentHost server(mark);
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(mark, kLongMs, systemError), CallerResult::Ok) << systemError;
    CallerResult result = CallerResult::Closed;
    std::thread sender([&] { result = host.SendBytes(kStuckText, 4 * kLongMs); });
    EXPECT_EQ(server.pipe.Read(8).size(), 8u);
    EXPECT_EQ(WaitForSingleObject(server.gate.get(), kLongMs), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(server.pipe.Read(kStuckText.size() - 8).size(), kStuckText.size() - 8);
    sender.join();
    EXPECT_EQ(result, CallerResult::Ok) << DescribeCallerResult(result);
}

TEST(HostPipe, SendThatIsCutOffByItsLimitEndsTheConnection) {
    const std::wstring mark = UniqueName(L"hostpipe");
    SilentHost server(mark);
    CHostPipe host;
    DWORD systemError = 0;
    ASSERT_EQ(host.Connect(mark, kLongMs, systemError), CallerResult::Ok) << systemError;
    EXPECT_EQ(host.SendBytes(kStuckText, 50), CallerResult::Timeout);
    EXPECT_FALSE(host.IsConnected());
    EXPECT_TRUE(server.pipe.WaitForEnd());
    EXPECT_EQ(WaitForSingleObject(server.gate.get(), 0), static_cast<DWORD>(WAIT_OBJECT_0));
    EXPECT_EQ(host.SendBytes("next", kLongMs), CallerResult::NotConnected);
}

}  // namespace
