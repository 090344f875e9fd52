// What a run of threads in parallel is made of: one lock of the whole machine, and a place where a thread waits for its
// turn. ThreadSanitizer sees neither, since they would be an order of everything.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

namespace simulation {

class CMachineLock {
  public:
    void Take();
    void Release();

  private:
    enum State : std::uint32_t { Free, Held, HeldAndAwaited };
    std::atomic<std::uint32_t> m_nState{Free};
};

class CTurn {
  public:
    // Taken under the lock of the machine, before it is released to wait.
    std::uint32_t Given() const { return m_nGiven.load(); }
    void Give();
    // Returns at once when a turn was given since.
    void Await(std::uint32_t nGiven);

  private:
    std::atomic<std::uint32_t> m_nGiven{0};
};

// A thread of the operating system that nobody joins.
void StartDetached(std::function<void()> work);

}  // namespace simulation
