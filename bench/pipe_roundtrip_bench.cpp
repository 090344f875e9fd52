// From a caller's request to the reply, over connections as an instance has them, against the same two hops made of raw
// overlapped calls in the same run, and beside two libraries that send bytes back without reading them.
//
//   pipe_roundtrip_bench [rounds]
//
// Every connection has one request under way at a time. The caller's side is the same code in every row. The rows take
// turns, and each shows its quietest round: what else the machine does only ever adds.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <json/value.h>

#include "bench/peers/pipe_peer.h"
#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/protocol/request_handlers.h"
#include "ipc/protocol/request_table.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/iocp_client.h"
#include "tests/support/raw_pipe.h"

namespace {

// Over all connections of a row.
int RequestsPerRound(std::size_t nConnections) {
    return std::max(400, static_cast<int>(nConnections) * 20);
}

const std::string kRequest =
    BuildFrame(R"({"content":{"p1":"{\"app_id\":\"wx0123456789abcdef\"}","service_id":"42"},"message_type":5})");

// Ends with what failed: a benchmark that went wrong measures nothing.
void Require(bool bGood, const char* what) {
    if (!bGood) {
        std::fprintf(stderr, "%s failed, error %lu\n", what, GetLastError());
        std::exit(1);
    }
}

double NowMicroseconds() {
    static const double frequency = [] {
        LARGE_INTEGER value;
        QueryPerformanceFrequency(&value);
        return static_cast<double>(value.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) * 1e6 / frequency;
}

// A helper's end of one connection.
class IResponder {
  public:
    virtual ~IResponder() = default;
};

// The floor: one thread on one port, one read pending, the reply written where the request was read.
class CRawResponder final : public IResponder {
  public:
    CRawResponder(const std::wstring& name, const std::string& reply) : m_strReply(reply) {
        m_hPort.reset(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0));
        m_hPipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_OVERLAPPED, nullptr));
        Require(m_hPipe.valid(), "opening the raw pipe");
        CreateIoCompletionPort(m_hPipe.get(), m_hPort.get(), 1, 0);
        m_thread = std::thread([this] { Work(); });
    }
    ~CRawResponder() override {
        m_thread.join();  // ends when the caller has closed its end
    }

  private:
    bool Read() {
        m_read = {};
        return ReadFile(m_hPipe.get(), m_buffer, sizeof m_buffer, nullptr, &m_read) ||
               GetLastError() == ERROR_IO_PENDING;
    }
    void Work() {
        std::size_t nGot = 0;
        if (!Read()) {
            return;
        }
        for (;;) {
            DWORD nBytes = 0;
            ULONG_PTR key = 0;
            OVERLAPPED* pDone = nullptr;
            if (!GetQueuedCompletionStatus(m_hPort.get(), &nBytes, &key, &pDone, INFINITE)) {
                return;
            }
            if (pDone != &m_read) {
                continue;
            }
            nGot += nBytes;
            const bool bWhole = nGot >= kRequest.size();
            if (!Read()) {
                return;
            }
            if (bWhole) {
                nGot -= kRequest.size();
                m_write = {};
                WriteFile(m_hPipe.get(), m_strReply.data(), static_cast<DWORD>(m_strReply.size()), nullptr, &m_write);
            }
        }
    }

    const std::string& m_strReply;
    CKernelHandle m_hPort;
    CFileHandle m_hPipe;
    OVERLAPPED m_read{};
    OVERLAPPED m_write{};
    char m_buffer[PIPE_READ_CHUNK];
    std::thread m_thread;
};

// The reply of one request, made as an instance makes it.
std::string ReplyTo(Request& request) {
    request.content["result"] = "1";
    return WriteEnvelope(ReplyTypeOf(request.nType), std::move(request.content));
}

class CReplyingHandlers final : public IRequestHandlers {
  public:
    void GetRSAEncrypt(Request& request) override { m_pClient->Send(ReplyTo(request)); }
    void GetWxAppStatus(Request&) override {}
    void GetWxAppStatusEncrypt(Request&) override {}
    void GetWxAppQIMEI(Request&) override {}
    void OpenMiniApp(Request&) override {}
    void OpenMiniAppSuccessfully(Request&) override {}
    void DelayCheckWndStatus(Request&) override {}
    void DestroyWxServiceItme(Request&) override {}

    CIOCP_Client* m_pClient = nullptr;  // weak
};

// The product's end: client, sink, dispatch and a handler that reads and writes JSON.
class CProductResponder final : public IResponder {
  public:
    CProductResponder(const std::wstring& name, const std::wstring& gate) {
        m_pHandlers->m_pClient = m_pClient.get();
        const auto pSink = std::make_shared<CPipeClientCallback>();
        pSink->SetClient(m_pClient);
        m_pClient->SetCallback(pSink);
        m_pClient->SetNames(name, gate);
        m_pClient->SetOwner(m_pHandlers);
        Require(m_pClient->CreateClientContext() == 1, "opening the pipe");
        Require(m_pClient->StartThread() && m_pClient->PostRead() == 1, "starting the client");
    }
    ~CProductResponder() override {
        m_pClient->Stop();
        m_pClient->WaitForThread();
    }

  private:
    std::shared_ptr<CReplyingHandlers> m_pHandlers = std::make_shared<CReplyingHandlers>();
    std::shared_ptr<CIOCP_Client> m_pClient = CIOCP_Client::Create();
};

// The caller's end of one connection.
struct CallerEnd {
    CRawPipe pipe;
    CKernelHandle gate;
    OVERLAPPED read{};
    OVERLAPPED write{};
    char buffer[4096];
    std::size_t nGot = 0;
    double sent = 0;
    std::unique_ptr<IResponder> pResponder;
};

// All connections of one row, driven by one thread through one port.
class CCaller {
  public:
    enum class Kind { Raw, Libuv, Asio, Ungated, Product };

    CCaller(Kind kind, std::size_t nConnections, const std::string& reply) : m_strReply(reply) {
        m_hPort.reset(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0));
        if (kind == Kind::Libuv) {
            m_pPeer = MakeLibuvPeer(kRequest.size(), m_strReply);
        } else if (kind == Kind::Asio) {
            m_pPeer = MakeAsioPeer(kRequest.size(), m_strReply);
        }
        for (std::size_t i = 0; i < nConnections; ++i) {
            auto end = std::make_unique<CallerEnd>();
            const std::wstring name = UniquePipeName();
            const std::wstring gate = kind == Kind::Product ? UniqueEventName() : L"";
            if (!gate.empty()) {
                end->gate.reset(CreateEventW(nullptr, TRUE, TRUE, gate.c_str()));
            }
            end->pipe = CRawPipe::Serve(name, 1);
            if (m_pPeer) {
                Require(m_pPeer->Connect(name), "opening a peer's pipe");
            } else if (kind == Kind::Raw) {
                end->pResponder = std::make_unique<CRawResponder>(name, m_strReply);
            } else {
                end->pResponder = std::make_unique<CProductResponder>(name, gate);
            }
            Require(end->pipe.WaitForClient(), "waiting for the client");
            CreateIoCompletionPort(end->pipe.get(), m_hPort.get(), reinterpret_cast<ULONG_PTR>(end.get()), 0);
            m_vecEnds.push_back(std::move(end));
        }
        if (m_pPeer) {
            m_pPeer->Start();
        }
    }
    ~CCaller() {
        for (auto& end : m_vecEnds) {
            end->pipe.Close();
        }
    }

    // Sends nRequests over all connections and adds the time of each to latencies, in microseconds.
    void Run(int nRequests, std::vector<double>& latencies) {
        int nSent = 0;
        int nDone = 0;
        for (auto& end : m_vecEnds) {
            if (nSent < nRequests) {
                Send(*end);
                ++nSent;
            }
        }
        while (nDone < nRequests) {
            DWORD nBytes = 0;
            ULONG_PTR key = 0;
            OVERLAPPED* pDone = nullptr;
            Require(GetQueuedCompletionStatus(m_hPort.get(), &nBytes, &key, &pDone, 20000), "the wait for a reply");
            auto& end = *reinterpret_cast<CallerEnd*>(key);
            if (pDone != &end.read) {
                continue;
            }
            end.nGot += nBytes;
            if (end.nGot < m_strReply.size()) {
                Read(end);
                continue;
            }
            latencies.push_back(NowMicroseconds() - end.sent);
            Require(end.nGot == m_strReply.size() && std::memcmp(end.buffer, m_strReply.data(), end.nGot) == 0,
                    "the comparison of a reply");
            ++nDone;
            if (nSent < nRequests) {
                Send(end);
                ++nSent;
            }
        }
    }

  private:
    void Read(CallerEnd& end) {
        end.read = {};
        Require(ReadFile(end.pipe.get(), end.buffer + end.nGot, static_cast<DWORD>(sizeof end.buffer - end.nGot),
                         nullptr, &end.read) ||
                    GetLastError() == ERROR_IO_PENDING,
                "reading a reply");
    }
    void Send(CallerEnd& end) {
        end.nGot = 0;
        end.sent = NowMicroseconds();
        Read(end);
        end.write = {};
        Require(WriteFile(end.pipe.get(), kRequest.data(), static_cast<DWORD>(kRequest.size()), nullptr, &end.write) ||
                    GetLastError() == ERROR_IO_PENDING,
                "writing a request");
    }

    const std::string& m_strReply;
    CKernelHandle m_hPort;
    std::vector<std::unique_ptr<CallerEnd>> m_vecEnds;
    std::unique_ptr<IPipePeer> m_pPeer;
};

double Percentile(std::vector<double>& values, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

struct Row {
    const char* name;
    CCaller caller;
    double p50 = 1e300;
    double p99 = 1e300;
    double rate = 0;  // requests a second

    void RunOnce(int nRequests) {
        std::vector<double> latencies;
        const double start = NowMicroseconds();
        caller.Run(nRequests, latencies);
        rate = std::max(rate, nRequests * 1e6 / (NowMicroseconds() - start));
        p50 = std::min(p50, Percentile(latencies, 0.5));
        p99 = std::min(p99, Percentile(latencies, 0.99));
    }
};

void Bench(std::size_t nConnections, int nRounds, const std::string& reply) {
    Row rows[] = {
        {"raw overlapped calls", {CCaller::Kind::Raw, nConnections, reply}},
        {"bytes back, libuv", {CCaller::Kind::Libuv, nConnections, reply}},
        {"bytes back, Boost.Asio", {CCaller::Kind::Asio, nConnections, reply}},
        {"CIOCP_Client, JSON handler, no gate", {CCaller::Kind::Ungated, nConnections, reply}},
        {"CIOCP_Client, JSON handler, gate", {CCaller::Kind::Product, nConnections, reply}},
    };
    const int nRequests = RequestsPerRound(nConnections);
    for (int round = 0; round < nRounds; ++round) {
        for (Row& row : rows) {
            row.RunOnce(nRequests);
        }
    }
    std::printf("\nrequest to reply, %zu connection%s, %d rounds of %d requests\n", nConnections,
                nConnections == 1 ? "" : "s", nRounds, nRequests);
    for (const Row& row : rows) {
        std::printf("  %-36s p50 %8.1f us %5.2f   p99 %8.1f us %5.2f   %7.0f a second %5.2f\n", row.name, row.p50,
                    row.p50 / rows[0].p50, row.p99, row.p99 / rows[0].p99, row.rate, row.rate / rows[0].rate);
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int nRounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;
    // What the handler answers to kRequest, for the raw side and the comparison.
    Request request;
    ReadEnvelope(std::string_view(kRequest).substr(kFrameHeaderSize), request);
    const std::string reply = BuildFrame(ReplyTo(request));
    for (const std::size_t nConnections : {1u, 16u, 64u}) {
        Bench(nConnections, nRounds, reply);
    }
    return 0;
}
