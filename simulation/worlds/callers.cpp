// Callers that serve their pipes as protocol.md says, and the helper's connections to them.
//
// A caller, a process of its own, makes its gate and its pipe, waits for the helper, sends its requests in pieces of
// any size, and reads what comes. It may vanish between any two calls. The helper connects, answers each request, and
// closes the connection when it is over, or earlier.
//
// What must hold: replies come whole, in the order of the requests, and each once. A caller that stays, and whose
// helper stays, has a reply to every request. In the end no thread, no handle and no connection is left in the helper.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "foundation/thread.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/message_type.h"
#include "ipc/protocol/pipe_callbacks.h"
#include "ipc/protocol/request_handlers.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/iocp_client.h"
#include "simulation/kernel/faults.h"
#include "simulation/worlds/served_pipe.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

// Longer than any wait of the product: what has not come by then never comes.
constexpr DWORD kNeverMs = 3600 * 1000;

struct Plan {
    std::uint32_t nNumber = 0;
    std::uint32_t nRequests = 0;
    std::uint32_t nReplyBytes = 0;          // how long a reply is about
    bool bGate = false;                     // the caller makes the gate event
    DWORD nQuota = 0;                       // of the pipe, both ways
    std::optional<std::uint64_t> vanishAt;  // the caller vanishes before this many of its calls
    std::optional<DWORD> leaveAfterMs;      // the helper closes the connection after this time
    std::uint64_t nSeed = 0;
    bool bFaults = false;
    bool bOrderly = false;  // neither of the two, and no faults: every reply must come

    std::wstring Pipe() const { return L"\\\\.\\pipe\\world_" + std::to_wstring(nNumber); }
    std::wstring Gate() const { return L"Global\\world_" + std::to_wstring(nNumber); }
    std::string Reply(std::uint32_t nRequest) const {
        return std::to_string(nRequest) + ":" + std::string(nReplyBytes + nRequest % 7, 'r');
    }
};

// The caller's process. Its own calls do not fail: it is not what is tested.
class CCallerProcess {
  public:
    explicit CCallerProcess(const Plan& plan) : m_plan(plan), m_random(plan.nSeed, 0) {}

    void Run() {
        const CFaults::CHold noFaults;
        if (m_plan.bGate) {
            m_gate.reset(CreateEventW(nullptr, TRUE, TRUE, m_plan.Gate().c_str()));
        }
        const bool bServed = m_pipe.Serve(m_plan.Pipe(), m_plan.nQuota);
        Hold(bServed, "a caller cannot make its pipe");
        Step();
        const bool bAccepted = m_pipe.Accept(kNeverMs);
        ExpectNoEndlessWait();
        if (!bAccepted) {
            return;
        }
        for (std::uint32_t i = 0; i < m_plan.nRequests; ++i) {
            Json::Value content(Json::objectValue);
            content["p1"] = std::to_string(i);
            if (!SendGated(BuildFrame(WriteEnvelope(static_cast<int>(MessageType::S_MT_GetRSAEncrypt), content)))) {
                break;
            }
            // Some callers wait for each reply, some send on.
            if (m_random.OneIn(2) && !ReadReplies(i + 1)) {
                break;
            }
        }
        const bool bAll = ReadReplies(m_plan.nRequests);
        Hold(bAll || !m_plan.bOrderly, "a caller that stayed lacks a reply");
    }

  private:
    // A place at which the caller may vanish.
    void Step() {
        if (m_plan.vanishAt && m_nSteps++ >= *m_plan.vanishAt) {
            Vanish();
        }
    }
    void ExpectNoEndlessWait() const {
        Hold(!m_pipe.HasTimedOut() || !m_plan.bOrderly, "a caller's operation never ends");
    }
    bool SendGated(const std::string& strFrame) {
        if (m_gate) {
            WaitForSingleObject(m_gate.get(), kGateWaitMs);
            ResetEvent(m_gate.get());
        }
        const bool bSent = m_pipe.Write(strFrame, kNeverMs);
        ExpectNoEndlessWait();
        if (m_gate) {
            SetEvent(m_gate.get());
        }
        return bSent;
    }
    bool ReadReplies(std::uint32_t nUntil) {
        while (m_nReplies < nUntil) {
            if (TakeReply()) {
                continue;
            }
            const bool bRead = m_pipe.ReadSome(kNeverMs);
            ExpectNoEndlessWait();
            if (!bRead) {
                return false;
            }
        }
        return true;
    }
    bool TakeReply() {
        const std::optional<std::string> reply = m_pipe.TakeFrame();
        if (!reply) {
            return false;
        }
        // A reply whose write the system refuses is lost, and the connection stays.
        while (m_plan.bFaults && m_nReplies + 1 < m_plan.nRequests && *reply != m_plan.Reply(m_nReplies)) {
            ++m_nReplies;
        }
        Hold(*reply == m_plan.Reply(m_nReplies), "a reply is not the next one");
        ++m_nReplies;
        return true;
    }

    const Plan m_plan;
    CRandom m_random;
    std::uint64_t m_nSteps = 0;
    CKernelHandle m_gate;
    CServedPipe m_pipe{m_random, {/*nSmallOneIn=*/2, /*nSmall=*/3, /*nMostRead=*/700}, [this] { Step(); }};
    std::uint32_t m_nReplies = 0;
};

// The helper's side of one connection.
class CConnection final : public IRequestHandlers, public std::enable_shared_from_this<CConnection> {
  public:
    explicit CConnection(const Plan& plan) : m_plan(plan) {}

    void Run() {
        const std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
        const auto pSink = std::make_shared<CPipeClientCallback>();
        pSink->SetClient(pClient);
        pClient->SetCallback(pSink);
        pClient->SetNames(m_plan.Pipe(), m_plan.bGate ? m_plan.Gate() : L"");
        pClient->SetOwner(weak_from_this());
        m_pClient = pClient;
        // The caller has announced itself by a second start in the real world; here its pipe is waited for.
        for (int i = 0; i < 100 && pClient->CreateClientContext() == 0; ++i) {
            Sleep(10);
        }
        if (pClient->StartThread()) {
            // A caller that has gone before the first read is noticed by the watch over its pipe alone.
            const bool bReading = pClient->PostRead() != 0;
            for (DWORD nPassed = 0; pClient->HasContext() && nPassed < m_plan.leaveAfterMs.value_or(2 * kNeverMs);) {
                const DWORD nPart = m_plan.leaveAfterMs ? 1 : kNeverMs;
                Sleep(nPart);
                nPassed += nPart;
            }
            // A connection whose operations fail together is dead, with its worker ended.
            const bool bOver =
                !pClient->HasContext() || WaitForSingleObject(pClient->Thread(), 0) == WAIT_OBJECT_0 || !bReading;
            Hold(bOver || m_plan.leaveAfterMs || m_plan.bFaults, "a caller has gone, and its connection stays");
        }
        pClient->End();
        pClient->WaitForThread();
        m_pClient.reset();
    }

    void Answer(Request& request) {
        const Json::Value* p1 = FindJsonMember(request.content, "p1");
        Hold(p1 != nullptr && p1->isString(), "a request arrives changed");
        const auto nRequest = static_cast<std::uint32_t>(std::stoul(p1->asString()));
        Hold(nRequest == m_nNext++, "requests arrive in another order");
        if (const std::shared_ptr<CIOCP_Client> pClient = m_pClient.lock()) {
            pClient->Send(m_plan.Reply(nRequest));
        }
    }
#define ANSWER(name)                       \
    void name(Request& request) override { \
        Answer(request);                   \
    }
    NXL_REQUEST_HANDLERS(ANSWER)
#undef ANSWER

  private:
    const Plan m_plan;
    std::weak_ptr<CIOCP_Client> m_pClient;
    std::uint32_t m_nNext = 0;  // the worker's
};

// Requests are numbered, so the last ones are left out.
void LeaveOutParts(Plan& plan) {
    const std::string strName = "caller " + std::to_string(plan.nNumber);
    std::uint32_t nRequests = 0;
    for (std::uint32_t i = 0; i < plan.nRequests; ++i) {
        nRequests += IsOn(strName + ", request " + std::to_string(i)) ? 1 : 0;
    }
    plan.nRequests = nRequests;
    if (plan.vanishAt && !IsOn(strName + " vanishes")) {
        plan.vanishAt.reset();
    }
    if (plan.leaveAfterMs && !IsOn(strName + " is left")) {
        plan.leaveAfterMs.reset();
    }
    plan.bGate = plan.bGate && IsOn(strName + " has a gate");
}

Plan Draw(CRandom& random, std::uint32_t nNumber) {
    Plan plan;
    plan.nNumber = nNumber;
    plan.nRequests = static_cast<std::uint32_t>(random.Below(6));
    plan.nReplyBytes = static_cast<std::uint32_t>(random.Below(random.OneIn(4) ? 5000 : 40));
    plan.bGate = !random.OneIn(3);
    plan.nQuota = random.OneIn(2) ? 0 : 1 << random.Below(14);
    if (random.OneIn(3)) {
        plan.vanishAt = random.Below(40);
    }
    if (random.OneIn(4)) {
        plan.leaveAfterMs = static_cast<DWORD>(random.Below(50));
    }
    plan.nSeed = random.Next();
    LeaveOutParts(plan);
    plan.bFaults = !g_pFaults->IsNever();
    plan.bOrderly = !plan.vanishAt && !plan.leaveAfterMs && !plan.bFaults;
    return plan;
}

}  // namespace

void RunCallersWorld(CRandom random) {
    DWORD nHandlesBefore = 0;
    GetProcessHandleCount(GetCurrentProcess(), &nHandlesBefore);
    const auto nCallers = static_cast<std::uint32_t>(1 + random.Below(random.OneIn(8) ? 16 : 3));
    {
        std::vector<CKernelHandle> callers;
        std::vector<CKernelHandle> connections;
        for (std::uint32_t i = 0; i < nCallers; ++i) {
            const Plan plan = Draw(random, i);
            constexpr std::uint32_t kThreads = 2;
            if (!IsOn("caller " + std::to_string(i), kThreads)) {
                continue;
            }
            callers.emplace_back(StartProcess([plan] {
                WatchNoRaces();
                CCallerProcess(plan).Run();
            }));
            const CFaults::CHold noFaults;
            connections.push_back(LaunchThread([plan] {
                std::make_shared<CConnection>(plan)->Run();
                return 0U;
            }));
        }
        for (const CKernelHandle& connection : connections) {
            Hold(WaitForSingleObject(connection.get(), 4 * kNeverMs) == WAIT_OBJECT_0, "a connection never ends");
        }
        for (const CKernelHandle& caller : callers) {
            Hold(WaitForSingleObject(caller.get(), 4 * kNeverMs) == WAIT_OBJECT_0, "a caller never ends");
        }
    }
    // A worker that was not waited for ends by itself.
    Sleep(kNeverMs);
    DWORD nHandles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &nHandles);
    Hold(nHandles == nHandlesBefore, "the helper keeps " + std::to_string(nHandles - nHandlesBefore) + " handles");
}

}  // namespace simulation
