#include "client/helper_forward.h"

#include <algorithm>

#include "client/host_pipe.h"
#include "foundation/text_helpers.h"
#include "ipc/message_type.h"
#include "ipc/pipe_names.h"

namespace {

constexpr std::uint32_t kAcknowledgeMs = 2000;

}  // namespace

CallerResult ForwardCommandLine(const std::wstring& strMark, const std::wstring& commandLine, const CDeadline& deadline,
                                StartedProcess& process) {
    CHostPipe host;
    DWORD systemError = 0;
    // One look: a busy pipe is left to whoever has it, since a client that comes close behind another may cost the host
    // its ear, and a helper that is just starting is found by the program.
    CallerResult result = host.Connect(strMark, 0, systemError);
    if (result != CallerResult::Ok) {
        return result;
    }
    process.dwProcessId = host.ServerProcessId();
    if (process.dwProcessId != 0) {
        process.hProcess.reset(
            OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process.dwProcessId));
    }
    result = host.Send(static_cast<int>(MessageType::S_MT_InitWxApp), Utf16ToUtf8(commandLine),
                       std::min(kAcknowledgeMs, deadline.RemainingMs()));
    std::string answer;
    if (result == CallerResult::Ok) {
        result = host.WaitForPayload(std::min(kAcknowledgeMs, deadline.RemainingMs()), answer);
    }
    return result != CallerResult::Ok || answer == kHostAcknowledgement ? result : CallerResult::Gone;
}
