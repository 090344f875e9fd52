// The pipe that a caller serves, as worlds use it without the caller's library: bytes go out in pieces of any size, and
// frames are cut from those that come.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "foundation/handle.h"
#include "simulation/kernel/random.h"

namespace simulation {

// Calls of one thread. Its own calls of the system do not fail where the thread holds faults back.
class CServedPipe {
  public:
    // One piece in nSmallOneIn is shorter than nSmall bytes; a read asks for up to nMostRead.
    struct Sizes {
        std::uint64_t nSmallOneIn;
        std::uint64_t nSmall;
        std::size_t nMostRead;
    };

    // step is called before each call at which the caller may vanish. random is the caller's and outlives this.
    CServedPipe(CRandom& random, Sizes sizes, std::function<void()> step)
        : m_random(random), m_sizes(sizes), m_step(std::move(step)) {}

    // Makes the pipe. False when the name is taken.
    bool Serve(const std::wstring& strName, std::uint32_t nQuota);
    // Waits for a client. False when none comes.
    bool Accept(std::uint32_t nWaitMs);
    bool Write(const std::string& strBytes, std::uint32_t nWaitMs);
    bool ReadSome(std::uint32_t nWaitMs);
    // The payload of the next frame that has come whole.
    std::optional<std::string> TakeFrame();

    bool IsOver() const { return m_bOver; }           // the connection has ended
    bool HasTimedOut() const { return m_bTimedOut; }  // an operation has not ended within its wait

  private:
    std::optional<std::uint32_t> Finished(struct OVERLAPPED& block, std::uint32_t nWaitMs);

    CRandom& m_random;
    const Sizes m_sizes;
    const std::function<void()> m_step;
    CKernelHandle m_event;
    CFileHandle m_pipe;
    std::string m_strReceived;
    bool m_bOver = false;
    bool m_bTimedOut = false;
};

}  // namespace simulation
