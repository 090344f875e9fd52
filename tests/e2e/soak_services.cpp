#include "tests/e2e/soak_services.h"

#include <cstdio>

#include "foundation/json_text.h"
#include "tests/e2e/end_to_end.h"

namespace {

constexpr DWORD kPollPauseMs = 10;
// The SDK's answer counts for an open only when it comes after the open call. Where a busy machine holds the helper up
// in between, the open is under way until the next answer, so one that takes this long is made once more.
constexpr ULONGLONG kOpenAgainMs = 5000;
constexpr unsigned kSecondsOfAnHour = 3600;
constexpr unsigned kSecondsBetweenRequests = 2;
// The client makes one window at a time, and each of its opens is a process. So few of them run at once.
constexpr int kMostPages = 2;
std::atomic<int> g_nPages{0};

// One report of the YYB SDK ends one open of its package, the first in the order of task ids, also when that one has
// ended already. All open the same package, so one at a time does.
std::mutex g_lockYyb;

// All open the same mini-program. Only opens of the latest task are ever answered, so opens of different tasks at once
// would stay under way for ever; an answer settles every open of its task so far, and each poll takes one.
constexpr const char* kTask = "soak";

}  // namespace

void SoakTally::Complain(const std::string& what) {
    const std::lock_guard guard(m_lock);
    m_bGood = false;
    m_strComplaints += what + "\n";
}

std::string SoakTally::Complaints() const {
    const std::lock_guard guard(m_lock);
    return m_strComplaints;
}

std::string SoakTally::Text() const {
    return std::to_string(services) + " services, " + std::to_string(vanished) + " vanished, " +
           std::to_string(requests) + " requests, " + std::to_string(requests - replies) + " replies lost, " +
           std::to_string(opens) + " opens, " + std::to_string(follows) + " followed, " + std::to_string(openedAgain) +
           " opened again, " + std::to_string(refused) + " refused";
}

std::string SoakTally::Hours(std::size_t services_) const {
    char text[160];
    std::snprintf(
        text, sizeof text, "as many requests as %zu services that ask every %u seconds make in %.1f hours", services_,
        kSecondsBetweenRequests,
        static_cast<double>(requests) * kSecondsBetweenRequests / static_cast<double>(services_) / kSecondsOfAnHour);
    return text;
}

CSoakService::CSoakService(const std::wstring& mark, const std::string& id, std::mt19937 random, SoakTally& tally)
    : m_caller(mark, id), m_random(random), m_tally(tally) {}

bool CSoakService::Open() {
    if (const CallerResult result = m_caller.Open(); result != CallerResult::Ok) {
        m_tally.Complain(Id() + " cannot serve its pipe: " + DescribeCallerResult(result) + ", error " +
                         std::to_string(m_caller.SystemError()));
        return false;
    }
    ++m_tally.services;
    return true;
}

bool CSoakService::ComeByStart(const HelperStart& start) {
    CallerResult result = m_caller.StartHelper(start);
    ReceivedFrame notice;
    if (result == CallerResult::Ok) {
        result = m_caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kLongMs, notice);
    }
    if (result != CallerResult::Ok) {
        m_tally.Complain(Id() + " was not taken over from a second start: " + DescribeCallerResult(result));
    }
    return result == CallerResult::Ok;
}

bool CSoakService::TakeFirstReply() {
    Json::Value content;
    ++m_tally.requests;
    return Take(MessageType::S_MT_StatusReply, -1, content);
}

void CSoakService::Act(ULONGLONG until) {
    while (GetTickCount64() < until && m_tally.Good()) {
        ActOnce();
    }
}

void CSoakService::AskToExit() {
    if (const CallerResult result =
            m_caller.Send(Number(MessageType::S_MT_ExitExeProcess), ServiceContent(Id()), kLongMs);
        result != CallerResult::Ok) {
        m_tally.Complain(Id() + " cannot leave: " + DescribeCallerResult(result));
    }
    ReceivedFrame stray;
    if (m_caller.WaitForFrame(0, 0, stray) != CallerResult::Timeout) {
        m_tally.Complain(Id() + " has a frame too many: " + stray.strPayload);
    }
}

bool CSoakService::WaitForLoss() {
    return m_caller.WaitForLoss(kLongMs) == CallerResult::Ok;
}

bool CSoakService::Send(MessageType type, Json::Value content) {
    content["service_id"] = Id();
    content["tag"] = ++m_nTag;
    const CallerResult result = m_caller.Send(Number(type), content, kLongMs);
    if (result != CallerResult::Ok) {
        m_tally.Complain(Id() + ", request " + std::to_string(m_nTag) + " of type " + std::to_string(Number(type)) +
                         " was not sent: " + DescribeCallerResult(result));
    }
    return result == CallerResult::Ok;
}

bool CSoakService::Take(MessageType reply, int tag, Json::Value& content) {
    ReceivedFrame frame;
    const CallerResult result = m_caller.WaitForFrame(0, kLongMs, frame);
    if (result != CallerResult::Ok || frame.nType != Number(reply) || frame.content["tag"] != tag ||
        frame.content["service_id"] != Id()) {
        m_tally.Complain(Id() + ", request " + std::to_string(tag) + ", which reply " + std::to_string(Number(reply)) +
                         " answers: " + DescribeCallerResult(result) + " " + frame.strPayload);
        return false;
    }
    ++m_tally.replies;
    content = std::move(frame.content);
    return true;
}

std::string CSoakService::Ask(MessageType type, Json::Value content, MessageType reply) {
    ++m_tally.requests;
    Json::Value answer;
    if (!Send(type, std::move(content)) || !Take(reply, m_nTag, answer)) {
        return {};
    }
    return answer["result"].asString();
}

void CSoakService::ActOnce() {
    const unsigned choice = m_random() % 1000;
    if (choice < 500) {
        Seal();
    } else if (choice < 660) {
        SealSeveral();
    } else if (choice < 700) {
        AskForStatus();
    } else if (choice < 850) {
        Ask(MessageType::S_MT_GetWxAppQIMEI, Json::Value(Json::objectValue), MessageType::S_MT_QIMEIReply);
    } else if (choice < 900) {
        BeRefused();
    } else if (choice < 950) {
        OpenMiniApp();
    } else if (choice < 995) {
        OpenYyb();
    } else {
        OpenWeChatAndFollow();
    }
}

void CSoakService::Seal() {
    // From nothing to three blocks.
    Json::Value text(Json::objectValue);
    text["text"] = std::string(m_random() % 300, 'x');
    Json::Value content(Json::objectValue);
    content["p1"] = WriteJson(text);
    if (Ask(MessageType::S_MT_GetRSAEncrypt, std::move(content), MessageType::S_MT_RSAEncryptReply).empty() !=
        text["text"].asString().empty()) {
        m_tally.Complain(Id() + " got no envelope");
    }
}

void CSoakService::SealSeveral() {
    const int first = m_nTag + 1;
    const int last = m_nTag + 2 + static_cast<int>(m_random() % 7);
    for (int tag = first; tag <= last; ++tag) {
        Json::Value content(Json::objectValue);
        content["p1"] = R"({"text":"one of several"})";
        ++m_tally.requests;
        if (!Send(MessageType::S_MT_GetRSAEncrypt, std::move(content))) {
            return;
        }
    }
    Json::Value answer;
    for (int tag = first; tag <= last && Take(MessageType::S_MT_RSAEncryptReply, tag, answer); ++tag) {
    }
}

void CSoakService::AskForStatus() {
    const bool sealed = m_random() % 2 == 0;
    const std::string status =
        sealed ? Ask(MessageType::S_MT_GetWxAppStatusEncrypt, Json::Value(Json::objectValue),
                     MessageType::S_MT_StatusEncryptReply)
               : Ask(MessageType::S_MT_GetWxAppStatus, Json::Value(Json::objectValue), MessageType::S_MT_StatusReply);
    if (status.empty()) {
        m_tally.Complain(Id() + " got no status");
    }
}

void CSoakService::PollUntilSettled(const std::string& p1, const std::function<bool()>& openAgain) {
    const ULONGLONG openedAt = GetTickCount64();
    ULONGLONG againAt = openedAt + kOpenAgainMs;
    std::string word;
    do {
        if (openAgain && GetTickCount64() >= againAt) {
            againAt += kOpenAgainMs;
            if (!openAgain()) {
                return;
            }
        }
        Sleep(kPollPauseMs);
        Json::Value poll(Json::objectValue);
        poll["p1"] = p1;
        word = Ask(MessageType::S_MT_OpenMiniAppSuccessfully, std::move(poll), MessageType::S_MT_StatusReply);
    } while (word == "Loading" && GetTickCount64() - openedAt < kLongMs);
    if (word != "1") {
        m_tally.Complain(Id() + ": the open " + p1 + " ended with " + word);
    }
}

void CSoakService::OpenMiniApp() {
    Json::Value open(Json::objectValue);
    ParseJson(MiniAppOpen(kTask), open["p1"]);
    const auto openOnce = [&] {
        ++m_tally.opens;
        const std::string word =
            Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, open, MessageType::S_MT_OpenMiniAppReply);
        if (word != "1") {
            m_tally.Complain(Id() + ": the open of the mini-program gave " + word);
        }
        return word == "1";
    };
    if (openOnce()) {
        PollUntilSettled(MiniAppPoll(kTask), [&] {
            ++m_tally.openedAgain;
            return openOnce();
        });
    }
}

void CSoakService::OpenYyb() {
    const std::unique_lock alone(g_lockYyb, std::try_to_lock);
    if (!alone) {
        return;
    }
    Json::Value what(Json::objectValue);
    what["type"] = "yyb";
    what["from"] = "soak";
    what["taskId"] = Id() + "." + std::to_string(m_nTag);
    Json::Value open(Json::objectValue);
    open["p1"] = what;
    open["p1"]["appId"] = "wx1";
    open["p1"]["yybParam"] = "p";
    ++m_tally.opens;
    if (const std::string word =
            Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, std::move(open), MessageType::S_MT_OpenMiniAppReply);
        word == "1") {
        PollUntilSettled(WriteJson(what));
    } else {
        m_tally.Complain(Id() + ": the open by the YYB SDK gave " + word);
    }
}

void CSoakService::OpenWeChatAndFollow() {
    if (++g_nPages <= kMostPages) {
        Json::Value what(Json::objectValue);
        what["type"] = "weChat";
        what["from"] = "soak";
        what["taskId"] = Id() + "." + std::to_string(m_nTag);
        what["wndname"] = "soak page";
        Json::Value open(Json::objectValue);
        open["p1"] = what;
        open["p1"]["urlScheme"] = "nexlet-soak://page?task=" + what["taskId"].asString();
        ++m_tally.opens;
        if (const std::string word =
                Ask(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN, std::move(open), MessageType::S_MT_OpenMiniAppReply);
            word == "1") {
            what["interval"] = 2000;
            what["successLog"].append("http://caller.invalid/success/" + what["taskId"].asString());
            what["errorLog"].append("http://caller.invalid/error/" + what["taskId"].asString());
            Json::Value follow(Json::objectValue);
            follow["p1"] = WriteJson(what);
            if (Send(MessageType::S_MT_DelayCheckWndStatus, std::move(follow))) {
                ++m_tally.follows;
            }
        } else {
            m_tally.Complain(Id() + ": the open by the client gave " + word);
        }
    }
    --g_nPages;
}

void CSoakService::BeRefused() {
    constexpr const char* kRefused[] = {"",
                                        "{",
                                        "[]",
                                        R"({"message_type":7})",
                                        R"({"message_type":99,"content":{}})",
                                        R"({"message_type":5,"content":{}})",
                                        R"({"message_type":6,"content":{"p1":1}})"};
    ++m_tally.refused;
    if (const CallerResult result = m_caller.SendPayload(kRefused[m_random() % std::size(kRefused)], kLongMs);
        result != CallerResult::Ok) {
        m_tally.Complain(Id() + ": what is to be refused was not sent: " + DescribeCallerResult(result));
    }
    // The next frame is the reply to this, so the other one had none.
    Json::Value poll(Json::objectValue);
    poll["p1"] = "{}";
    Ask(MessageType::S_MT_OpenMiniAppSuccessfully, std::move(poll), MessageType::S_MT_StatusReply);
}
