// From a caller's request to the reply, over connections as an instance has them, against the same two hops made of raw
// overlapped calls in the same run, and beside two libraries that send bytes back without reading them.
//
//   pipe_roundtrip_bench [rounds]
//
// Every connection has one request under way at a time. The caller's side is the same code in every row. The rows take
// turns, and each shows the median of its rounds. helper_bench does the same with whole programs.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

#include "bench/bench_record.h"
#include "bench/peers/pipe_peer.h"
#include "bench/pipe_load.h"
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

// The reply of one request, made as an instance makes it.
std::string ReplyTo(Request& request) {
    request.content["result"] = "1";
    return WriteEnvelope(ReplyTypeOf(request.nType), std::move(request.content));
}

class CReplyingHandlers final : public IRequestHandlers {
  public:
#define REPLY(name)                        \
    void name(Request& request) override { \
        m_pClient->Send(ReplyTo(request)); \
    }
    NXL_REQUEST_HANDLERS(REPLY)
#undef REPLY

    CIOCP_Client* m_pClient = nullptr;  // weak
};

// The product's end: client, sink, dispatch and a handler that reads and writes JSON.
class CProductResponder {
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
    ~CProductResponder() {
        m_pClient->Stop();
        m_pClient->WaitForThread();
    }

  private:
    std::shared_ptr<CReplyingHandlers> m_pHandlers = std::make_shared<CReplyingHandlers>();
    std::shared_ptr<CIOCP_Client> m_pClient = CIOCP_Client::Create();
};

// One row: so many connections, and what answers them.
class CRow {
  public:
    enum class Kind { Raw, Libuv, Asio, Ungated, Product };

    CRow(const char* name, Kind kind, std::size_t nConnections, const std::string& reply) : m_szName(name) {
        if (kind == Kind::Raw) {
            m_pPeer = MakeRawPeer(kRequest.size(), reply);
        } else if (kind == Kind::Libuv) {
            m_pPeer = MakeLibuvPeer(kRequest.size(), reply);
        } else if (kind == Kind::Asio) {
            m_pPeer = MakeAsioPeer(kRequest.size(), reply);
        }
        for (std::size_t i = 0; i < nConnections; ++i) {
            const std::wstring pipeName = UniquePipeName();
            const std::wstring gate = kind == Kind::Product ? UniqueEventName() : L"";
            CKernelHandle hGate(gate.empty() ? nullptr : CreateEventW(nullptr, TRUE, TRUE, gate.c_str()));
            CRawPipe pipe = CRawPipe::Serve(pipeName, 1);
            if (m_pPeer) {
                Require(m_pPeer->Connect(pipeName), "opening a peer's pipe");
            } else {
                m_vecResponders.push_back(std::make_unique<CProductResponder>(pipeName, gate));
            }
            Require(pipe.WaitForClient(), "waiting for the client");
            m_load.Add(std::move(pipe), std::move(hGate), kRequest, reply);
        }
        if (m_pPeer) {
            m_pPeer->Start();
        }
    }
    ~CRow() { m_load.Close(); }

    void RunOnce(int nRequests) { m_rounds.RunOnce(m_load, nRequests, m_load.Connections()); }
    void Show(const std::string& table, const CRow& floor) const {
        m_rounds.Print(m_szName, floor.m_rounds);
        m_rounds.Record(table, m_szName);
    }

  private:
    const char* const m_szName;
    std::unique_ptr<IPipePeer> m_pPeer;
    std::vector<std::unique_ptr<CProductResponder>> m_vecResponders;
    CPipeLoad m_load;
    LoadRounds m_rounds;
};

void Bench(std::size_t nConnections, int nRounds, const std::string& reply) {
    CRow rows[] = {
        {"raw overlapped calls", CRow::Kind::Raw, nConnections, reply},
        {"bytes back, libuv", CRow::Kind::Libuv, nConnections, reply},
        {"bytes back, Boost.Asio", CRow::Kind::Asio, nConnections, reply},
        {"CIOCP_Client, JSON handler, no gate", CRow::Kind::Ungated, nConnections, reply},
        {"CIOCP_Client, JSON handler, gate", CRow::Kind::Product, nConnections, reply},
    };
    const int nRequests = RequestsPerRound(nConnections);
    for (int round = 0; round < nRounds; ++round) {
        for (CRow& row : rows) {
            row.RunOnce(nRequests);
        }
    }
    std::printf("\nrequest to reply, %zu connection%s, %d rounds of %d requests\n", nConnections,
                nConnections == 1 ? "" : "s", nRounds, nRequests);
    for (const CRow& row : rows) {
        row.Show("request to reply within one program, " + std::to_string(nConnections), rows[0]);
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int nRounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : BenchRounds(10);
    // What the handler answers to kRequest, for the raw side and the comparison.
    Request request;
    ReadEnvelope(std::string_view(kRequest).substr(kFrameHeaderSize), request);
    const std::string reply = BuildFrame(ReplyTo(request));
    for (const std::size_t nConnections : {1u, 16u, 64u}) {
        Bench(nConnections, nRounds, reply);
    }
    return 0;
}
