// Opens of the type miniApp. The helper lets only the latest one of its process be answered: one that is overtaken
// before it has settled stays "Loading" for ever. So those of this process go one after the other, and what other
// processes open is seen in a record that all of them share.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

// For how long an open that was accepted keeps the next one waiting after it was last asked for, and in all.
inline constexpr std::uint64_t kSettleMs = 5000;
inline constexpr std::uint64_t kMostSettleMs = 60000;

// Which open of a mark has the turn. Not locked; times are tick counts in milliseconds.
class COpenTurns {
  public:
    // True: the turn is this open's, until it is settled or untilMs.
    bool Take(const std::wstring& strMark, const std::string& strTaskId, const void* owner, std::uint64_t nowMs,
              std::uint64_t untilMs);
    // The open was accepted: the turn ends kSettleMs from now.
    void Accept(const std::wstring& strMark, const std::string& strTaskId, std::uint64_t nowMs);
    // It was asked for and has not settled: likewise, but not later than kMostSettleMs after it was accepted.
    void Extend(const std::wstring& strMark, const std::string& strTaskId, std::uint64_t nowMs);
    void Settle(const std::wstring& strMark, const std::string& strTaskId);
    // Settles what this owner has.
    void SettleAll(const void* owner);

  private:
    struct Turn {
        std::string strTaskId;
        const void* owner;
        std::uint64_t nUntilMs;
        std::uint64_t nMostMs;  // 0 until it was accepted
    };
    std::map<std::wstring, Turn> m_turns;  // by mark
};

// One open on its way, for the requests of a client. Any thread; nothing here waits.

// False while another open of this mark has the turn. owner is the client.
bool BeginOpen(const std::wstring& strMark, const std::string& strTaskId, const void* owner, std::uint32_t timeoutMs);
// Its reply has come. accepted: it will settle; otherwise it has.
void OpenAnswered(const std::wstring& strMark, const std::string& strTaskId, bool accepted);
// A poll was answered: it has not settled, or it has.
void OpenLoading(const std::wstring& strMark, const std::string& strTaskId);
void OpenSettled(const std::wstring& strMark, const std::string& strTaskId);
// The client has lost its helper, or closes.
void OpensOver(const void* owner);
// Whether an open of any process that uses this library was sent after the reply of this one, and was answered.
bool OpenWasOvertaken(const std::wstring& strMark, const std::string& strTaskId);
