#include "client/helper_forward.h"

#include <algorithm>

#include "client/host_pipe.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/message_type.h"
#include "ipc/transport/pipe_names.h"

namespace {

constexpr std::uint32_t kAcknowledgeMs = 2000;

// One attempt: a busy pipe is left to its client, since a client that comes soon after another may stop the host from
// listening, and the program finds a helper that is just starting.
CallerResult ConnectInSession(CHostPipe& host, const std::wstring& strMark, DWORD ownSession) {
    DWORD systemError = 0;
    const CallerResult result = host.Connect(strMark, 0, systemError);
    if (result != CallerResult::Ok) {
        return result;
    }
    const DWORD session = host.ServerSessionId();
    return session == kNoSession || session == ownSession ? CallerResult::Ok : CallerResult::NotConnected;
}

}  // namespace

DWORD OwnSession() {
    DWORD session = kNoSession;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) != FALSE ? session : kNoSession;
}

CallerResult ForwardCommandLine(const std::wstring& strMark, const std::wstring& commandLine, const CDeadline& deadline,
                                StartedProcess& process, DWORD ownSession, const std::function<void()>& reached) {
    CHostPipe host;
    CallerResult result = ConnectInSession(host, strMark, ownSession);
    if (result != CallerResult::Ok) {
        return result;
    }
    if (reached) {
        reached();
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

CallerResult ReleaseService(const std::wstring& strMark, const std::string& strServiceId, const CDeadline& deadline,
                            DWORD ownSession) {
    CHostPipe host;
    const CallerResult result = ConnectInSession(host, strMark, ownSession);
    if (result != CallerResult::Ok) {
        return result;
    }
    Json::Value content(Json::objectValue);
    content["service_id"] = strServiceId;
    return host.Send(static_cast<int>(MessageType::S_MT_ExitExeProcess), std::move(content),
                     std::min(kAcknowledgeMs, deadline.RemainingMs()));
}
