// The C interface: the library, a client's life, bare frames.
#include "client/client_api.h"

#include <cstdlib>
#include <cstring>

#include "client/host_pipe.h"
#include "client/requests.h"
#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"

namespace {

// The longest name of a pipe, all of it, and of a window class that the system takes. A helper whose class name does
// not fit has no window and no host's pipe.
constexpr std::size_t kMaxPipeNameChars = 256;

struct Described {
    nexlet_result result;
    const char* name;
};

constexpr Described kResults[] = {
    {NEXLET_OK, "NEXLET_OK"},
    {NEXLET_TIMEOUT, "NEXLET_TIMEOUT"},
    {NEXLET_NOT_CONNECTED, "NEXLET_NOT_CONNECTED"},
    {NEXLET_GONE, "NEXLET_GONE"},
    {NEXLET_NAME_TAKEN, "NEXLET_NAME_TAKEN"},
    {NEXLET_BAD_ARGUMENT, "NEXLET_BAD_ARGUMENT"},
    {NEXLET_NOT_STARTED, "NEXLET_NOT_STARTED"},
    {NEXLET_SYSTEM_ERROR, "NEXLET_SYSTEM_ERROR"},
    {NEXLET_CLOSED, "NEXLET_CLOSED"},
    {NEXLET_BAD_HANDLE, "NEXLET_BAD_HANDLE"},
    {NEXLET_WRONG_THREAD, "NEXLET_WRONG_THREAD"},
    {NEXLET_BAD_REPLY, "NEXLET_BAD_REPLY"},
    {NEXLET_BAD_SIZE, "NEXLET_BAD_SIZE"},
    {NEXLET_ACCESS_DENIED, "NEXLET_ACCESS_DENIED"},
};

// Whether mark and service id give a name that the system takes. No service id: one will be made.
bool AreNames(const char* mark, const char* serviceId) {
    if (mark == nullptr || *mark == 0 || (serviceId != nullptr && *serviceId == 0)) {
        return false;
    }
    const std::string id = serviceId != nullptr ? serviceId : std::string(kUniqueIdChars, 'x');
    return ServicePipeName(Utf8ToUtf16(mark), id).size() <= kMaxPipeNameChars;
}

std::string TextOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// The folder of this library, or of the program when the code stands in one.
std::wstring OwnProgram() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&OwnProgram), &module);
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path.substr(0, path.find_last_of(L'\\') + 1) + L"nexlet.exe";
        }
        path.resize(path.size() * 2);
    }
}

// No thread of ours may outlive the code that it runs.
void StayLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&StayLoaded), &module);
}

nexlet_result ReadStart(const CCaller& caller, const nexlet_start_options* options, ClientStart& start) {
    const nexlet_start_options none = {sizeof none, 0,       nullptr, nullptr, nullptr,
                                       0,           nullptr, nullptr, nullptr, nullptr};
    if (options == nullptr) {
        options = &none;
    }
    if (!SizeIsKnown(options)) {
        return NEXLET_BAD_SIZE;
    }
    if ((options->flags & ~(NEXLET_START_PROCESS | NEXLET_START_NO_WAIT)) != 0) {
        return NEXLET_BAD_ARGUMENT;
    }
    start.nFlags = options->flags;
    start.start.strExe = options->program != nullptr ? Utf8ToUtf16(options->program) : OwnProgram();
    start.start.strChannel = options->channel_json != nullptr
                                 ? options->channel_json
                                 : MakeChannelText(caller.Mark(), TextOrEmpty(options->machine_id), options->channel_id,
                                                   TextOrEmpty(options->product), TextOrEmpty(options->from));
    start.start.strType = Utf8ToUtf16(TextOrEmpty(options->type));
    start.start.strParam = TextOrEmpty(options->param_json);
    return NEXLET_OK;
}

// With the failures that have one, leaves the system's reason where a caller looks for it.
nexlet_result WithReason(CallerResult result, DWORD systemError) {
    if (result == CallerResult::SystemError || result == CallerResult::NotStarted ||
        result == CallerResult::NameTaken || result == CallerResult::AccessDenied) {
        SetLastError(systemError);
    }
    return ResultOf(result);
}

}  // namespace

char* NewText(std::string_view text) {
    auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    if (!text.empty()) {
        std::memcpy(copy, text.data(), text.size());
    }
    copy[text.size()] = 0;
    return copy;
}

uint32_t nexlet_version(void) {
    return NEXLET_CLIENT_VERSION;
}

const char* nexlet_result_text(nexlet_result result) {
    switch (result) {
        case NEXLET_BAD_HANDLE:
            return "no client has this handle, or it has been closed";
        case NEXLET_WRONG_THREAD:
            return "called from inside a callback of the same client, where it could wait for itself";
        case NEXLET_BAD_REPLY:
            return "the reply came but does not hold what it must";
        case NEXLET_BAD_SIZE:
            return "the size in a record is none that this version of the library knows";
        default:
            return DescribeCallerResult(static_cast<CallerResult>(result));
    }
}

const char* nexlet_result_name(nexlet_result result) {
    for (const Described& one : kResults) {
        if (one.result == result) {
            return one.name;
        }
    }
    return "unknown";
}

const char* nexlet_word_text(const char* word) {
    return DescribeResultWord(word != nullptr ? word : "");
}

void nexlet_free(void* text) {
    std::free(text);
}

nexlet_result nexlet_open(const nexlet_options* options, nexlet_client* client) {
    return Guarded([&]() -> nexlet_result {
        if (options == nullptr || client == nullptr) {
            return NEXLET_BAD_ARGUMENT;
        }
        if (!SizeIsKnown(options)) {
            return NEXLET_BAD_SIZE;
        }
        if (!AreNames(options->mark, options->service_id)) {
            return NEXLET_BAD_ARGUMENT;
        }
        StayLoaded();
        DWORD systemError = 0;
        const CallerResult result = AddClient(*options, *client, systemError);
        return WithReason(result, systemError);
    });
}

nexlet_result nexlet_service_id(nexlet_client client, char** service_id) {
    if (service_id == nullptr) {
        return NEXLET_BAD_ARGUMENT;
    }
    *service_id = nullptr;
    return Guarded([&]() -> nexlet_result {
        const CClientUse one(client);
        if (!one) {
            return NEXLET_BAD_HANDLE;
        }
        *service_id = NewText(one->Caller().ServiceId());
        return NEXLET_OK;
    });
}

nexlet_result nexlet_start(nexlet_client client, const nexlet_start_options* options, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        ClientStart start;
        const nexlet_result read = ReadStart(one.Caller(), options, start);
        if (read != NEXLET_OK) {
            return read;
        }
        const CallerResult result = one.Start(start, timeout_ms);
        return WithReason(result, one.Caller().SystemError());
    });
}

nexlet_result nexlet_wait_connected(nexlet_client client, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) { return ResultOf(one.Caller().WaitForConnection(timeout_ms)); });
}

nexlet_result nexlet_wait_lost(nexlet_client client, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) { return ResultOf(one.Caller().WaitForLoss(timeout_ms)); });
}

nexlet_result nexlet_wait_process_end(nexlet_client client, uint32_t timeout_ms, uint32_t* exit_code) {
    return WithClient(client, [&](CClient& one) {
        DWORD code = 0;
        const CallerResult result = one.Caller().WaitForProcessEnd(timeout_ms, code);
        if (result == CallerResult::Ok && exit_code != nullptr) {
            *exit_code = code;
        }
        return WithReason(result, GetLastError());
    });
}

nexlet_result nexlet_helper_process(nexlet_client client, nexlet_helper* helper) {
    return Guarded([&]() -> nexlet_result {
        const CClientUse one(client);
        if (!one) {
            return NEXLET_BAD_HANDLE;
        }
        if (helper == nullptr) {
            return NEXLET_BAD_ARGUMENT;
        }
        if (!SizeIsKnown(helper)) {
            return NEXLET_BAD_SIZE;
        }
        CCaller& caller = one->Caller();
        DWORD exitCode = 0;
        helper->process_id = caller.ProcessId();
        helper->connected = caller.Connected() ? 1 : 0;
        helper->connections = caller.Connections();
        helper->forwarded = one->Forwarded() ? 1 : 0;
        helper->ended = caller.ProcessHasEnded(exitCode) ? 1 : 0;
        helper->exit_code = helper->ended != 0 ? exitCode : 0;
        return NEXLET_OK;
    });
}

nexlet_result nexlet_exit(nexlet_client client, uint32_t timeout_ms, int32_t* ended) {
    return WithClient(client, [&](CClient& one) {
        bool processEnded = false;
        const CallerResult result = one.Exit(timeout_ms, processEnded);
        if (result == CallerResult::Ok && ended != nullptr) {
            *ended = processEnded ? 1 : 0;
        }
        return ResultOf(result);
    });
}

nexlet_result nexlet_shutdown(nexlet_client client) {
    return Guarded([&]() -> nexlet_result {
        const CClientUse one(client);
        if (!one) {
            return NEXLET_BAD_HANDLE;
        }
        one->Shutdown();
        return NEXLET_OK;
    });
}

nexlet_result nexlet_close(nexlet_client client) {
    return Guarded([&]() -> nexlet_result {
        {
            const CClientUse one(client);
            if (one && one->InCallback()) {
                return NEXLET_WRONG_THREAD;
            }
        }
        return RemoveClient(client) ? NEXLET_OK : NEXLET_BAD_HANDLE;
    });
}

nexlet_result nexlet_send(nexlet_client client, int32_t type, const char* content_json, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        Json::Value content;
        if (content_json == nullptr || !ParseJson(content_json, content)) {
            return NEXLET_BAD_ARGUMENT;
        }
        return ResultOf(one.Caller().Send(type, std::move(content), timeout_ms));
    });
}

nexlet_result nexlet_send_payload(nexlet_client client, const void* payload, size_t size, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        if (payload == nullptr && size != 0) {
            return NEXLET_BAD_ARGUMENT;
        }
        const std::string copy(static_cast<const char*>(payload), size);
        return ResultOf(one.Caller().SendPayload(copy, timeout_ms));
    });
}

nexlet_result nexlet_wait_frame(nexlet_client client, int32_t type, uint32_t timeout_ms, int32_t* found_type,
                                char** payload, size_t* size) {
    if (payload == nullptr) {
        return NEXLET_BAD_ARGUMENT;
    }
    *payload = nullptr;
    return WithClient(client, [&](CClient& one) {
        ReceivedFrame frame;
        const CallerResult result = one.Caller().WaitForFrame(type, timeout_ms, frame);
        if (result == CallerResult::Ok) {
            *payload = NewText(frame.strPayload);
            if (found_type != nullptr) {
                *found_type = frame.nType;
            }
            if (size != nullptr) {
                *size = frame.strPayload.size();
            }
        }
        return ResultOf(result);
    });
}

nexlet_result nexlet_host_send(const char* mark, const void* payload, size_t size, uint32_t timeout_ms, char** answer) {
    if (answer != nullptr) {
        *answer = nullptr;
    }
    return Guarded([&]() -> nexlet_result {
        if (!AreNames(mark, "x") || (payload == nullptr && size != 0)) {
            return NEXLET_BAD_ARGUMENT;
        }
        const CDeadline deadline(timeout_ms);
        CHostPipe host;
        DWORD systemError = 0;
        CallerResult result = host.Connect(Utf8ToUtf16(mark), timeout_ms, systemError);
        if (result == CallerResult::Ok) {
            const std::string copy(static_cast<const char*>(payload), size);
            result = host.SendPayload(copy, deadline.RemainingMs());
        }
        if (result == CallerResult::Ok && answer != nullptr) {
            std::string text;
            result = host.WaitForPayload(deadline.RemainingMs(), text);
            if (result == CallerResult::Ok) {
                *answer = NewText(text);
            }
        }
        return WithReason(result, systemError);
    });
}
