// How a client brings the helper to its pipe.
#include <algorithm>

#include "client/client.h"
#include "client/helper_forward.h"
#include "client/mark_turn.h"
#include "ipc/protocol/message_type.h"

namespace {

// A helper that takes a command line over opens the pipe before it acknowledges, so what has not come by now does not.
constexpr std::uint32_t kForwardedMs = 2000;
// Between the attempts while a helper ends an earlier run of the service, at its next look through the table.
constexpr std::uint32_t kAgainMs = 1000;

}  // namespace

CallerResult CClient::Start(const ClientStart& start, std::uint32_t timeoutMs) {
    const CDeadline deadline(timeoutMs);
    const CTurnScope turn(m_turnStart, deadline);
    if (turn.Result() != CallerResult::Ok) {
        return turn.Result();
    }
    HelperStart whole = start.start;
    whole.strMark = m_caller.Mark();
    whole.strServiceId = m_caller.ServiceId();
    std::wstring commandLine;
    const CallerResult built = BuildHelperCommandLine(whole, commandLine);
    if (built != CallerResult::Ok) {
        return built;
    }
    const CMarkTurn markTurn(m_caller.Mark(), deadline, m_bClosed);
    if (markTurn.Result() != CallerResult::Ok) {
        return markTurn.Result();
    }
    // A request to run at the start is none that a running helper takes from a second start; leave that to the program.
    const bool mayForward = (start.nFlags & NEXLET_START_PROCESS) == 0 && whole.strType.empty();
    if ((start.nFlags & NEXLET_START_NO_WAIT) != 0) {
        return mayForward && Forward(commandLine, deadline) ? CallerResult::Ok : m_caller.StartHelper(whole);
    }
    if (mayForward) {
        return Bring(whole, commandLine, deadline);
    }
    const CallerResult result = m_caller.StartHelper(whole);
    return result == CallerResult::Ok ? WaitForNotice(deadline.RemainingMs()) : result;
}

CallerResult CClient::WaitForNotice(std::uint32_t timeoutMs) {
    ReceivedFrame notice;
    return m_caller.WaitForFrame(static_cast<int>(MessageType::S_MT_InitReply), timeoutMs, notice);
}

bool CClient::Forward(const std::wstring& commandLine, const CDeadline& deadline) {
    StartedProcess process;
    // Where no helper can be reached, how a process that was started here has ended remains known.
    const CallerResult result = ForwardCommandLine(m_caller.Mark(), commandLine, deadline, process, OwnSession(),
                                                   [this] { m_caller.ExpectHelper(); });
    if (result != CallerResult::Ok) {
        return false;
    }
    Tell(NEXLET_LEVEL_INFO,
         "handed the command line to the helper that runs, process " + std::to_string(process.dwProcessId));
    return m_caller.WatchProcess(std::move(process), /*found=*/true) == CallerResult::Ok;
}

CallerResult CClient::Bring(const HelperStart& start, const std::wstring& commandLine, const CDeadline& deadline) {
    bool held = false;     // a helper has taken the command line and did not come
    bool started = false;  // the program was started since a helper was last found
    for (;;) {
        if (Forward(commandLine, deadline)) {
            const std::uint32_t patience = std::min(held ? kAgainMs : kForwardedMs, deadline.RemainingMs());
            CallerResult result = WaitForNotice(patience);
            if (result == CallerResult::Timeout && m_caller.Connected()) {
                result = WaitForNotice(deadline.RemainingMs());
            }
            if (result != CallerResult::Timeout || deadline.Passed()) {
                return result;
            }
            if (!held) {
                // It holds this service from an earlier run, whose connection is final for it; or it may not open the
                // pipe. The first ends by itself once it is asked, for the second there is a process of our own.
                held = true;
                Tell(NEXLET_LEVEL_WARNING,
                     "the helper did not come to the service; it is asked to let the service of an "
                     "earlier run go");
                ReleaseService(m_caller.Mark(), m_caller.ServiceId(), deadline);
            } else if (started) {
                continue;
            }
        } else if (started && !held) {
            // The program found a helper and handed its command line over, or ended by itself.
            return CallerResult::Gone;
        }
        started = true;
        CallerResult result = m_caller.StartHelper(start);
        if (result == CallerResult::Ok) {
            result = WaitForNotice(deadline.RemainingMs());
        }
        DWORD exitCode = 0;
        if (result != CallerResult::Gone || !m_caller.ProcessHasEnded(exitCode) || exitCode != 0) {
            return result;
        }
    }
}
