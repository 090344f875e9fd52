// The whole helper beside what an engineer would use in its place: nexlet.exe with 1, 16 and 64 services, and programs
// that send bytes back over as many pipes. Then helpers with 1 to 512 services, one request under way at a time: what a
// request costs must not depend on how many others could ask. The floor of that is an echo with as many pipes.
//
//   helper_bench [rounds]
//
// The request is of type 5 with an empty text; the helper reads it, answers in JSON, and waits for the caller's gate.
// The echoes read as many bytes and answer with as many. The caller's side is the same code in every row, every subject
// is a process of its own, and all rows of a table take turns.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

#include "bench/bench_record.h"
#include "bench/pipe_load.h"
#include "client/host_pipe.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/helper_process.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::size_t kConnections[] = {1, 16, 64};
constexpr std::size_t kServices[] = {1, 8, 64, 256, 512};
constexpr int kRequestsOneByOne = 1024;
constexpr int kSealType = 5;
constexpr int kPollType = 7;
constexpr std::uint32_t kLimitMs = 30000;

std::wstring BesideThis(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    return folder.substr(0, folder.rfind(L'\\') + 1) + name;
}

// All names of services have one length, so that all requests have.
std::string ServiceId(std::size_t number) {
    std::string id = std::to_string(number + 1000);
    id[0] = 's';
    return id;
}

std::string SealRequest(std::size_t service) {
    Json::Value content(Json::objectValue);
    content["p1"] = R"({"text":""})";
    content["service_id"] = ServiceId(service);
    return BuildFrame(WriteEnvelope(kSealType, std::move(content)));
}

// What is measured: a process, the load on its pipes, and the rounds so far.
class CSubject {
  public:
    virtual ~CSubject() = default;
    void RunOnce(int nRequests, std::size_t nUnderWay) { m_rounds.RunOnce(m_load, nRequests, nUnderWay); }
    // A round that does not count.
    void WarmUp(int nRequests) {
        std::vector<double> dropped;
        m_load.Run(nRequests, Connections(), dropped);
    }
    const LoadRounds& Rounds() const { return m_rounds; }
    std::size_t Connections() const { return m_load.Connections(); }
    void RecordSizes(const std::string& table, const std::string& row) const {
        RecordRounds(table, row, "private", "bytes", {static_cast<double>(m_process.PrivateBytes())});
        RecordRounds(table, row, "handles", "", {static_cast<double>(m_process.HandleCount())});
        RecordRounds(table, row, "threads", "", {static_cast<double>(m_process.ThreadCount())});
    }

  protected:
    CHelperProcess m_process;
    CPipeLoad m_load;
    LoadRounds m_rounds;
};

// The helper. Its first service comes on the command line, the others are made by a request on the helper's own pipe.
class CHelper final : public CSubject {
  public:
    explicit CHelper(std::size_t nServices) {
        for (std::size_t i = 0; i < nServices; ++i) {
            AddService(i);
        }
        m_host.Close();
    }
    std::size_t ReplySize() const { return m_nReply; }

  private:
    void AddService(std::size_t number) {
        const std::string id = ServiceId(number);
        CRawPipe pipe = CRawPipe::Serve(ServicePipeName(m_strMark, id), 1);
        CKernelHandle gate(CreateEventW(nullptr, TRUE, TRUE, ServiceEventName(m_strMark, id).c_str()));
        Require(pipe.valid() && gate.valid(), "serving a service's pipe");
        if (number == 0) {
            const std::string channel = Base64Encode(MakeChannelText(m_strMark, "mid", 7, "product", "from"));
            Require(m_process.Start(BesideThis(L"nexlet.exe"), L"/from:" + m_strMark + L" /channel:" +
                                                                   Utf8ToUtf16(channel) + L" /service_id:" +
                                                                   Utf8ToUtf16(id)),
                    "starting the helper");
        } else {
            if (number == 1) {
                DWORD systemError = 0;
                Require(m_host.Connect(m_strMark, kLimitMs, systemError) == CallerResult::Ok, "the helper's own pipe");
            }
            Json::Value content(Json::objectValue);
            content["p1"] = "{}";
            content["service_id"] = id;
            Require(m_host.Send(kPollType, std::move(content), kLimitMs) == CallerResult::Ok, "naming a service");
        }
        // The ready notice, or the reply to what made the service known.
        Require(pipe.WaitForClient() && pipe.ReadFrame().has_value(), "waiting for a service");
        const std::string request = SealRequest(number);
        Require(pipe.Write(request), "the first request");
        const std::optional<std::string> reply = pipe.ReadFrame();
        Require(reply.has_value(), "the first reply");
        const std::string frame = BuildFrame(*reply);
        m_nReply = frame.size();
        m_load.Add(std::move(pipe), std::move(gate), request, frame);
    }

    const std::wstring m_strMark = UniqueName(L"bench");
    CHostPipe m_host;
    std::size_t m_nReply = 0;
};

// An echo by one of the libraries, or by the system's calls alone.
class CEcho final : public CSubject {
  public:
    CEcho(const wchar_t* kind, std::size_t nConnections, std::size_t replySize) {
        const std::string request = SealRequest(0);
        const std::wstring first = UniquePipeName();
        std::vector<CRawPipe> pipes;
        for (std::size_t i = 0; i < nConnections; ++i) {
            pipes.push_back(CRawPipe::Serve(first + std::to_wstring(i), 1));
        }
        Require(m_process.Start(BesideThis(L"pipe_peer.exe"),
                                std::wstring(kind) + L" " + std::to_wstring(request.size()) + L" " +
                                    std::to_wstring(replySize) + L" " + first + L" " + std::to_wstring(nConnections)),
                "starting an echo");
        for (CRawPipe& pipe : pipes) {
            Require(pipe.WaitForClient(), "waiting for an echo");
            m_load.Add(std::move(pipe), {}, request, std::string(replySize, 'x'));
        }
    }
};

std::size_t ReplySize() {
    const CHelper helper(1);
    return helper.ReplySize();
}

struct Row {
    const char* name;
    std::unique_ptr<CSubject> pSubject;
};

void Compare(std::size_t nConnections, int nRounds, std::size_t replySize) {
    Row rows[] = {
        {"raw overlapped calls", std::make_unique<CEcho>(L"raw", nConnections, replySize)},
        {"Boost.Asio", std::make_unique<CEcho>(L"asio", nConnections, replySize)},
        {"libuv", std::make_unique<CEcho>(L"libuv", nConnections, replySize)},
        {"nexlet.exe", std::make_unique<CHelper>(nConnections)},
    };
    const int nRequests = std::max(400, static_cast<int>(nConnections) * 20);
    // The first round only warms the caches.
    for (const Row& row : rows) {
        row.pSubject->WarmUp(nRequests);
    }
    for (int round = 0; round < nRounds; ++round) {
        for (const Row& row : rows) {
            row.pSubject->RunOnce(nRequests, nConnections);
        }
    }
    const std::string table = "request to reply, " + std::to_string(nConnections);
    std::printf("\n%s connection%s, %d rounds of %d requests\n", table.c_str(), nConnections == 1 ? "" : "s", nRounds,
                nRequests);
    for (const Row& row : rows) {
        row.pSubject->Rounds().Print(row.name, rows[0].pSubject->Rounds());
        row.pSubject->Rounds().Record(table, row.name);
        row.pSubject->RecordSizes(table, row.name);
    }
    std::fflush(stdout);
}

void Grow(int nRounds, std::size_t replySize) {
    std::vector<std::unique_ptr<CSubject>> subjects;
    for (const std::size_t nServices : kServices) {
        subjects.push_back(std::make_unique<CEcho>(L"raw", nServices, replySize));
        subjects.push_back(std::make_unique<CHelper>(nServices));
    }
    for (const auto& pSubject : subjects) {
        pSubject->WarmUp(kRequestsOneByOne);
    }
    for (int round = 0; round < nRounds; ++round) {
        for (const auto& pSubject : subjects) {
            pSubject->RunOnce(kRequestsOneByOne, 1);
        }
    }
    std::printf("\nrequest to reply, one at a time, by the number of services of one helper\n");
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        const std::string number = std::to_string(subjects[i]->Connections());
        const std::string name = i % 2 == 0 ? "raw overlapped calls" : "nexlet.exe";
        subjects[i]->Rounds().Print((name + ", " + number).c_str(), subjects[i % 2]->Rounds());
        subjects[i]->Rounds().Record("one request at a time, " + number, name);
        subjects[i]->RecordSizes("one request at a time, " + number, name);
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    const int nRounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : BenchRounds(15);
    const std::size_t replySize = ReplySize();
    for (const std::size_t nConnections : kConnections) {
        Compare(nConnections, nRounds, replySize);
    }
    Grow(nRounds, replySize);
    return 0;
}
