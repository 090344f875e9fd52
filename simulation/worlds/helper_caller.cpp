#include "simulation/worlds/helper_caller.h"

#include <algorithm>
#include <cstring>

#include "foundation/handle.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/message_type.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/pipe_names.h"
#include "simulation/kernel/faults.h"
#include "simulation/worlds/helper_model.h"
#include "simulation/worlds/served_pipe.h"
#include "simulation/worlds/world.h"

namespace simulation {
namespace {

// Longer than a slow SDK and all waits of the product take together, for a reply to a request that was taken.
constexpr DWORD kReplyMs = 20 * 60 * 1000;
// A caller whose helper has gone, or never takes notice of its pipe, gives up.
constexpr DWORD kConnectMs = 100 * 1000;
// From a second start to its message, and from an exit request to the mark that the walk looks at.
constexpr DWORD kForwardMs = 2000;
constexpr DWORD kDestroyMs = 2000;
constexpr char kNumberKey[] = "n";

int ReplyTo(int nType) {
    constexpr int kReplies[] = {0, 0, 13, 14, 15, 16, 17, 13, 0, 0};
    return kReplies[nType];
}

class CCaller {
  public:
    explicit CCaller(const CallerPlan& plan) : m_plan(plan), m_facts(*plan.pFacts), m_random(plan.nSeed, 0) {}

    void Run() {
        const CFaults::CHold noFaults;
        Sleep(m_plan.nComesAfterMs);
        if (m_plan.bAims && !m_plan.bStartsHelper) {
            AimAtWalk(kForwardMs, m_random);
        }
        if (m_plan.bGate) {
            m_gate.reset(CreateEventW(nullptr, TRUE, TRUE, ServiceEventName(m_facts.strMark, m_facts.strId).c_str()));
        }
        if (!m_pipe.Serve(ServicePipeName(m_facts.strMark, m_facts.strId), m_plan.nQuota)) {
            return;  // the last life under this id has not quite gone
        }
        Step();
        const CKernelHandle start(m_plan.bStartsHelper ? StartHelper(m_facts.strMark, m_facts.strId)
                                                       : StartSecond(m_facts.strMark, m_facts.strId));
        if (!m_pipe.Accept(kConnectMs)) {
            return;
        }
        m_nErased = EraseCount(Utf8ToUtf16(m_facts.strId));
        SendAll();
        if (m_plan.bReads && ReadReplies(m_vecExpected.size())) {
            Stay();
        } else {
            Hold(!IsOrderly() || !m_plan.bReads, "a caller that stays lacks a reply");
            Sleep(m_plan.nStaysMs);
        }
    }

  private:
    // Nothing that this life or another program did ends its connection.
    bool IsOrderly() const {
        // Where an instance is older than this life's pipe, the look of its watcher opens the pipe and closes it.
        return ((m_plan.bFirstLife && !m_facts.bKnocked) || m_bServed) && !m_facts.bForeignExits && !m_facts.bMayHang &&
               !m_facts.bFaults && !m_plan.bBroken && !m_bAskedForExit && !HasLeftItsLoop();
    }
    void Step() {
        if (m_plan.vanishAt && m_nSteps++ >= *m_plan.vanishAt) {
            Vanish();
        }
    }
    void SendAll() {
        for (std::size_t i = 0; i < m_plan.requests.size(); ++i) {
            const int nType = m_plan.requests[i];
            bool bNeverEnds = false;
            const std::string strText = RequestText(nType, m_facts.strId, static_cast<int>(i), m_random, bNeverEnds);
            m_facts.bMayStay = m_facts.bMayStay || bNeverEnds;
            if (ReplyTo(nType) != 0) {
                m_vecExpected.push_back({static_cast<int>(i), ReplyTo(nType)});
            }
            if (!Send(strText) || (m_plan.bReads && m_random.OneIn(2) && !ReadReplies(m_vecExpected.size()))) {
                return;
            }
        }
        if (m_plan.bBroken) {
            Write(std::string(1 + m_random.Below(40), static_cast<char>(m_random.Below(256))));
        }
        if (m_plan.bAims && m_plan.nAsksForExit > 0) {
            AimAtWalk(m_random.OneIn(3) ? 0 : kDestroyMs, m_random);
        }
        for (std::uint32_t i = 0; i < m_plan.nAsksForExit; ++i) {
            m_bAskedForExit = true;
            bool bUnused = false;
            if (!Send(RequestText(static_cast<int>(MessageType::S_MT_ExitExeProcess), m_facts.strId, -1, m_random,
                                  bUnused))) {
                return;
            }
            if (m_plan.nAsksForExit > 1) {
                Sleep(static_cast<DWORD>(m_random.Below(1500)));
            }
        }
    }
    bool Send(const std::string& strMessage) {
        if (m_gate) {
            WaitForSingleObject(m_gate.get(), 1000);
            ResetEvent(m_gate.get());
            if (m_plan.bHoldsGate) {
                Sleep(static_cast<DWORD>(m_random.Below(3000)));
            }
        }
        const bool bSent = Write(BuildFrame(strMessage));
        if (m_gate && !(m_plan.bHoldsGate && m_random.OneIn(2))) {
            SetEvent(m_gate.get());
        }
        return bSent;
    }
    bool Write(const std::string& strBytes) { return m_pipe.Write(strBytes, kReplyMs); }

    bool ReadReplies(std::size_t nUntil) {
        while (m_nReplies < nUntil) {
            if (!TakeFrame() && !m_pipe.ReadSome(kReplyMs)) {
                Hold(!IsOrderly() || m_plan.vanishAt, "a reply does not come, or the connection ends");
                return false;
            }
        }
        return true;
    }
    bool TakeFrame() {
        const std::optional<std::string> payload = m_pipe.TakeFrame();
        if (!payload) {
            return false;
        }
        Request reply;
        const EnvelopeStatus status = ReadEnvelope(*payload, reply);
        Hold(status == EnvelopeStatus::Ok, "a caller reads something else than an envelope");
        m_bServed = true;
        Take(reply);
        return true;
    }
    void Take(const Request& reply) {
        const Json::Value* number = FindJsonMember(reply.content, kNumberKey);
        if (reply.nType == static_cast<int>(MessageType::S_MT_InitReply) || number == nullptr) {
            return;  // the notice, or the answer to what another program asked
        }
        // A reply whose write the system refuses is lost, and the connection stays.
        while (m_facts.bFaults && m_nReplies + 1 < m_vecExpected.size() &&
               m_vecExpected[m_nReplies].nNumber != number->asInt()) {
            ++m_nReplies;
        }
        Hold(m_nReplies < m_vecExpected.size(), "a reply comes twice, or to nothing that was asked");
        const Expected& expected = m_vecExpected[m_nReplies++];
        Hold(expected.nNumber == number->asInt() && expected.nType == reply.nType, "a reply is not the next one");
    }

    // Reads on, and sees that the helper keeps a caller that has not asked for its end.
    void Stay() {
        const ULONGLONG nEnd = GetTickCount64() + m_plan.nStaysMs;
        for (ULONGLONG nNow = GetTickCount64(); nNow < nEnd && !m_pipe.IsOver(); nNow = GetTickCount64()) {
            if (!TakeFrame()) {
                m_pipe.ReadSome(static_cast<DWORD>(nEnd - nNow));
            }
        }
        Hold(!IsOrderly() || EraseCount(Utf8ToUtf16(m_facts.strId)) == m_nErased,
             "the helper ends the instance of a caller that stays");
        Hold(!IsOrderly() || !m_pipe.IsOver(), "the connection of a caller that stays ends");
    }

    struct Expected {
        int nNumber;
        int nType;
    };

    const CallerPlan m_plan;
    CallerFacts& m_facts;
    CRandom m_random;
    std::uint64_t m_nSteps = 0;
    std::uint32_t m_nErased = 0;
    bool m_bAskedForExit = false;
    bool m_bServed = false;  // a frame of the helper's has come
    CKernelHandle m_gate;
    CServedPipe m_pipe{m_random, {/*nSmallOneIn=*/8, /*nSmall=*/9, /*nMostRead=*/900}, [this] { Step(); }};
    std::vector<Expected> m_vecExpected;
    std::size_t m_nReplies = 0;
};

}  // namespace

std::string RequestText(int nType, const std::string& strId, int nNumber, CRandom& random, bool& bNeverEnds) {
    Json::Value content(Json::objectValue);
    content["service_id"] = strId;
    if (nNumber >= 0) {
        content[kNumberKey] = nNumber;
    }
    Json::Value open(Json::objectValue);
    open["from"] = "world";
    open["type"] = random.OneIn(2) ? "miniApp" : "yyb";
    open["appId"] = "app" + std::to_string(random.Below(3));
    open["yybParam"] = open["appId"];
    if (random.OneIn(2)) {
        open["isWxPopShow"] = 1;
        open["wxPopData"]["name"] = "Jump";
        open["wxPopData"]["appid"] = open["appId"];
    }
    open["taskId"] = "task" + std::to_string(random.Below(6));
    switch (static_cast<MessageType>(nType)) {
        case MessageType::S_MT_GetRSAEncrypt:
            content["p1"] = R"({"text":"a secret"})";
            break;
        case MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN:
            content["p1"] = open;
            break;
        case MessageType::S_MT_OpenMiniAppSuccessfully:
            content["p1"] = WriteJson(open);
            break;
        case MessageType::S_MT_DelayCheckWndStatus: {
            constexpr int kIntervals[] = {1, 1999, 2000, 2001, 7000, 30000};
            open["interval"] = kIntervals[random.Below(std::size(kIntervals))];
            if (random.OneIn(20)) {
                open["interval"] = -5;
                bNeverEnds = true;
            }
            open["successLog"].append("http://dot.nexlet.invalid/good");
            open["errorLog"].append("http://dot.nexlet.invalid/bad");
            content["p1"] = WriteJson(open);
            break;
        }
        default:
            break;
    }
    return WriteEnvelope(nType, std::move(content));
}

void RunCaller(const CallerPlan& plan) {
    CCaller(plan).Run();
}

void RunKnocker(const std::wstring& strMark, const std::vector<std::string>& ids, bool bExits, std::uint64_t nSeed) {
    const CFaults::CHold noFaults;
    CRandom random(nSeed, 0);
    for (std::uint64_t i = random.Below(random.OneIn(3) ? 60 : 6); i > 0; --i) {
        Sleep(static_cast<DWORD>(random.Below(random.OneIn(2) ? 15000 : 700)));
        if (random.OneIn(2)) {
            AimAtWalk(0, random);
        }
        const CFileHandle pipe(CreateFileW(HostPipeName(strMark).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
        if (!pipe) {
            continue;
        }
        for (std::uint64_t k = random.Below(4); k > 0; --k) {
            bool bUnused = false;
            // Types that are not in use among them.
            constexpr int kExit = static_cast<int>(MessageType::S_MT_ExitExeProcess);
            auto nType = static_cast<int>(2 + random.Below(9));
            nType = nType == kExit && !bExits ? 2 : nType;
            CRandom text(random.Next() | 1, 0);
            std::string strText = RequestText(nType, ids[random.Below(ids.size())], -1, text, bUnused);
            if (bUnused) {
                continue;
            }
            const std::string strFrame = BuildFrame(strText);
            DWORD nWritten = 0;
            WriteFile(pipe.get(), strFrame.data(), static_cast<DWORD>(strFrame.size()), &nWritten, nullptr);
        }
        Sleep(static_cast<DWORD>(random.Below(500)));
    }
}

}  // namespace simulation
