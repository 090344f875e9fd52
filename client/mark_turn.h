// One start of a mark at a time in this process: the second one then finds the helper that the first one brought.
#pragma once

#include <atomic>
#include <string>

#include "client/caller_result.h"
#include "client/deadline.h"

// The turn of a mark for the length of a scope.
class CMarkTurn {
  public:
    // Waits until no other thread of this process starts the mark. Result tells Ok, Timeout, or Closed once closed is
    // true; the thread that sets it calls Wake.
    CMarkTurn(std::wstring strMark, const CDeadline& deadline, const std::atomic<bool>& closed);
    ~CMarkTurn();
    CMarkTurn(const CMarkTurn&) = delete;
    CMarkTurn& operator=(const CMarkTurn&) = delete;

    CallerResult Result() const { return m_result; }

    // Has every waiting turn look at its closed.
    static void Wake();

  private:
    const std::wstring m_strMark;
    CallerResult m_result = CallerResult::Ok;
};
