// One simulated thread as the scheduler knows it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/kernel/choices.h"
#include "simulation/kernel/fiber.h"
#include "simulation/kernel/parallel.h"

namespace simulation {

using Nanoseconds = std::uint64_t;
inline constexpr Nanoseconds kNever = ~Nanoseconds{0};
inline constexpr Nanoseconds kMicrosecond = 1000;
inline constexpr Nanoseconds kMillisecond = 1000 * kMicrosecond;
inline constexpr Nanoseconds kSecond = 1000 * kMillisecond;

class CTask;
struct ObjectWait;

// The tasks that wait for one thing, in the order in which they came.
using CWaitList = std::vector<CTask*>;

class CTask {
  public:
    CTask(std::uint32_t nId, std::uint32_t nProcess, std::string strName, std::string strPath,
          std::function<void()> work)
        : m_nId(nId),
          m_nProcess(nProcess),
          m_strName(std::move(strName)),
          m_strPath(std::move(strPath)),
          m_work(std::move(work)) {}

    bool IsReady() const { return m_state == State::Ready && m_nSuspended == 0; }

    enum class State { Ready, Parked, Ended };

    const std::uint32_t m_nId;
    const std::uint32_t m_nProcess;
    const std::string m_strName;
    // "1" for the main thread, and its third thread is "1.3": the same thread under another schedule has the same path,
    // while its number may differ.
    const std::string m_strPath;
    std::function<void()> m_work;
    std::unique_ptr<CFiber> m_pFiber;
    State m_state = State::Ready;
    std::uint32_t m_nSuspended = 0;

    // While parked.
    Nanoseconds m_nDeadline = kNever;
    std::vector<CWaitList*> m_vecLists;
    const char* m_szWaitsFor = "";
    const ObjectWait* m_pObjectWait = nullptr;
    bool m_bWoken = false;

    // In a free run.
    bool m_bRuns = false;  // its thread does not wait for its turn
    CTurn m_turn;

    std::uint32_t m_nChildren = 0;    // threads that it has started
    std::uint64_t m_nPosition = 0;    // choices that it has come to
    CKeptChoices* m_pKept = nullptr;  // weak; what is replayed of it
    std::uint32_t m_nLastError = 0;
    std::uint32_t m_nFaultsHeld = 0;     // its calls do not fail while this is not 0
    std::vector<void*> m_vecLocal;       // its values, by slot, see local_storage.h
    std::int64_t m_nPriority = 0;        // the strategy's
    std::vector<const void*> m_vecHeld;  // locks, in the order of their taking
};

}  // namespace simulation
