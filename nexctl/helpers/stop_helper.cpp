#include "nexctl/helpers/stop_helper.h"

#include <algorithm>

#include <json/value.h>

#include "client/host_pipe.h"
#include "foundation/handle.h"
#include "ipc/protocol/message_type.h"

namespace {

// Nobody tells when a file is let go.
constexpr DWORD kLookMs = 50;

}  // namespace

CallerResult AskToLetGo(const std::wstring& mark, const std::vector<std::string>& services, const CDeadline& deadline,
                        DWORD& systemError) {
    CHostPipe host;
    CallerResult result = host.Connect(mark, deadline.RemainingMs(), systemError);
    for (const std::string& service : services) {
        if (result == CallerResult::Ok) {
            Json::Value content(Json::objectValue);
            content["service_id"] = service;
            result = host.Send(static_cast<int>(MessageType::S_MT_ExitExeProcess), std::move(content),
                               deadline.RemainingMs());
        }
    }
    return result;
}

FileHold LookAtHold(const std::wstring& path) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE | DELETE, /*dwShareMode=*/0, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) {
        return FileHold::Free;
    }
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return FileHold::NotThere;
        case ERROR_SHARING_VIOLATION:
        case ERROR_USER_MAPPED_FILE:
            return FileHold::Held;
        default:
            // Its rights or its attributes keep this process out, which says nothing about other programs.
            return FileHold::Free;
    }
}

bool WaitUntilFree(const std::wstring& path, const CDeadline& deadline) {
    while (LookAtHold(path) == FileHold::Held) {
        if (deadline.Passed()) {
            return false;
        }
        Sleep(std::min<DWORD>(kLookMs, deadline.RemainingMs()));
    }
    return true;
}
