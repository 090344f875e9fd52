// A point in time that a call must not pass, however many waits it makes.
#pragma once

#include <chrono>
#include <cstdint>

class CDeadline {
  public:
    using Clock = std::chrono::steady_clock;

    explicit CDeadline(std::uint32_t timeoutMs) : m_end(Clock::now() + std::chrono::milliseconds(timeoutMs)) {}

    Clock::time_point End() const { return m_end; }
    bool Passed() const { return Clock::now() >= m_end; }
    // What is left, rounded up, so that a wait for it does not come back early.
    std::uint32_t RemainingMs() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return left <= 0 ? 0 : static_cast<std::uint32_t>(left);
    }

  private:
    Clock::time_point m_end;
};
