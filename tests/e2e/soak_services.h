// One service of the soak, and what all of them count together.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <random>
#include <string>

#include "tests/e2e/library_caller.h"
#include "tests/support/message_number.h"

// Everything on any thread.
struct SoakTally {
    std::atomic<long long> requests{0};  // that have a reply
    std::atomic<long long> replies{0};
    std::atomic<long long> refused{0};
    std::atomic<long long> opens{0};
    std::atomic<long long> openedAgain{0};
    std::atomic<long long> follows{0};
    std::atomic<long long> services{0};
    std::atomic<long long> vanished{0};

    // What went wrong, once for each time; the first one ends the run.
    void Complain(const std::string& what);
    std::string Complaints() const;
    bool Good() const { return m_bGood; }

    std::string Text() const;
    // In how many hours so many services make as many requests, when each asks every two seconds.
    std::string Hours(std::size_t services) const;

  private:
    std::atomic<bool> m_bGood{true};
    mutable std::mutex m_lock;
    std::string m_strComplaints;
};

// Used from one thread at a time. What goes wrong is told to the tally.
class CSoakService {
  public:
    CSoakService(const std::wstring& mark, const std::string& id, std::mt19937 random, SoakTally& tally);

    bool Open();
    // Starts the program for this service, whose helper runs already, and waits for the ready notice.
    bool ComeByStart(const HelperStart& start);
    // The reply to the request on the helper's own pipe that made this service known.
    bool TakeFirstReply();

    // Asks for one thing after the other until the tick count is there.
    void Act(ULONGLONG until);

    void AskToExit();
    bool WaitForLoss();
    const std::string& Id() const { return m_caller.ServiceId(); }

  private:
    // Sends a request and takes the next frame, which must be its reply. The result word, or "" when it failed.
    std::string Ask(MessageType type, Json::Value content, MessageType reply);
    bool Send(MessageType type, Json::Value content);
    // Takes the next frame, which must be the reply to the request of this tag.
    bool Take(MessageType reply, int tag, Json::Value& content);
    void ActOnce();

    void Seal();
    void SealSeveral();
    void AskForStatus();
    void OpenMiniApp();
    void OpenYyb();
    void OpenWeChatAndFollow();
    void BeRefused();
    // Polls until the open has ended.
    void PollUntilSettled(const std::string& p1, const std::function<bool()>& openAgain = {});

    CLibraryCaller m_caller;
    std::mt19937 m_random;
    SoakTally& m_tally;
    int m_nTag = 0;
};
