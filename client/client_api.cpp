// The C interface: the library, a client's life, bare frames.
#include "client/client_api.h"

#include <cstddef>
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
    {NEXLET_CANCELLED, "NEXLET_CANCELLED"},
    {NEXLET_PENDING, "NEXLET_PENDING"},
    {NEXLET_OVERTAKEN, "NEXLET_OVERTAKEN"},
};

// Whether mark and service id give a name that the system takes; the reason when they do not. No service id: one will
// be made.
bool AreNames(const char* mark, const char* serviceId) {
    std::string copy;
    if (!TakeText(mark, "mark", copy) || (serviceId != nullptr && !CheckUtf8(serviceId, "service_id"))) {
        return false;
    }
    if (copy.empty() || (serviceId != nullptr && *serviceId == 0)) {
        SetReason(copy.empty() ? "mark is empty" : "service_id is empty");
        return false;
    }
    const std::string id = serviceId != nullptr ? serviceId : std::string(kUniqueIdChars, 'x');
    const std::size_t length = ServicePipeName(Utf8ToUtf16(copy), id).size();
    if (length > kMaxPipeNameChars) {
        SetReason("mark and service_id are together " + std::to_string(length - kMaxPipeNameChars) +
                  " characters too long for the name of a pipe");
        return false;
    }
    return true;
}

// The folder of this library, or of the program when the code is linked into one.
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

// Up to which member the first version of a record went.
constexpr std::size_t kFirstOptionsBytes = offsetof(nexlet_options, on_diagnostic);
constexpr std::size_t kFirstStartBytes = offsetof(nexlet_start_options, program_path);

nexlet_result ReadProgram(const nexlet_start_options& options, std::wstring& program) {
    if (options.program != nullptr && options.program_path != nullptr) {
        return Refuse("program and program_path are both set");
    }
    if (options.program_path != nullptr) {
        program = options.program_path;
        return NEXLET_OK;
    }
    std::string text;
    if (!TakeTextOrNull(options.program, "program", text)) {
        return NEXLET_BAD_ARGUMENT;
    }
    program = options.program != nullptr ? Utf8ToUtf16(text) : OwnProgram();
    return NEXLET_OK;
}

nexlet_result ReadStart(const CCaller& caller, const nexlet_start_options* given, ClientStart& start) {
    nexlet_start_options options = {};
    if (given != nullptr && !ReadRecord(given, options, kFirstStartBytes)) {
        return NEXLET_BAD_SIZE;
    }
    start.nFlags = options.flags;
    if ((options.flags & ~std::uint32_t{NEXLET_START_PROCESS | NEXLET_START_NO_WAIT}) != 0) {
        return Refuse("flags has a bit that this version does not know");
    }
    const nexlet_result program = ReadProgram(options, start.start.strExe);
    if (program != NEXLET_OK) {
        return program;
    }
    std::string machineId;
    std::string product;
    std::string from;
    std::string type;
    if (!TakeTextOrNull(options.channel_json, "channel_json", start.start.strChannel) ||
        !TakeTextOrNull(options.machine_id, "machine_id", machineId) ||
        !TakeTextOrNull(options.product, "product", product) || !TakeTextOrNull(options.from, "from", from) ||
        !TakeTextOrNull(options.type, "type", type) ||
        !TakeTextOrNull(options.param_json, "param_json", start.start.strParam)) {
        return NEXLET_BAD_ARGUMENT;
    }
    if (options.channel_json == nullptr) {
        start.start.strChannel = MakeChannelText(caller.Mark(), machineId, options.channel_id, product, from);
    }
    start.start.strType = Utf8ToUtf16(type);
    return NEXLET_OK;
}

bool HasSystemReason(nexlet_result result) {
    return result == NEXLET_SYSTEM_ERROR || result == NEXLET_NOT_STARTED || result == NEXLET_NAME_TAKEN ||
           result == NEXLET_ACCESS_DENIED;
}

// How grave a failure is: the program's mistake or the machine's, or one that comes with what the helper does.
std::int32_t LevelOf(nexlet_result result) {
    switch (result) {
        case NEXLET_TIMEOUT:
        case NEXLET_NOT_CONNECTED:
        case NEXLET_GONE:
        case NEXLET_OVERTAKEN:
            return NEXLET_LEVEL_WARNING;
        case NEXLET_CLOSED:
            return NEXLET_LEVEL_INFO;
        default:
            return NEXLET_LEVEL_ERROR;
    }
}

// With the failures that have one, leaves the system's reason where a caller looks for it.
nexlet_result WithReason(CallerResult result, DWORD systemError) {
    if (HasSystemReason(ResultOf(result))) {
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

bool TakeText(const char* text, const char* name, std::string& taken) {
    if (text == nullptr) {
        SetReason(std::string(name) + " is NULL");
        return false;
    }
    taken = text;
    return CheckUtf8(taken, name);
}

bool TakeTextOrNull(const char* text, const char* name, std::string& taken) {
    return text == nullptr || TakeText(text, name, taken);
}

void KeepFailure(const char* function, nexlet_result result, CClient* client) noexcept {
    const DWORD systemError = GetLastError();
    try {
        std::string text = std::string(function) + ": " + nexlet_result_text(result);
        const std::string reason = TakeReason();
        if (!reason.empty()) {
            text += ": " + reason;
        }
        if (HasSystemReason(result) && systemError != ERROR_SUCCESS) {
            text += ": " + SystemWords(systemError);
        }
        if (client != nullptr) {
            client->Tell(LevelOf(result), text);
        }
        // After the callback, in which functions may have failed too.
        SetLastErrorText(std::move(text));
    } catch (...) {
        // Without memory there is no text.
        SetLastErrorText({});
    }
    SetLastError(systemError);
}

const char* nexlet_last_error_text(void) {
    return LastErrorText();
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
        case NEXLET_PENDING:
            return "the request is still under way";
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
    return Guarded(__func__, [&]() -> nexlet_result {
        if (options == nullptr || client == nullptr) {
            return Refuse(options == nullptr ? "options is NULL" : "client is NULL");
        }
        nexlet_options known = {};
        if (!ReadRecord(options, known, kFirstOptionsBytes)) {
            return NEXLET_BAD_SIZE;
        }
        if (!AreNames(known.mark, known.service_id)) {
            return NEXLET_BAD_ARGUMENT;
        }
        StayLoaded();
        DWORD systemError = 0;
        const CallerResult result = AddClient(known, *client, systemError);
        return WithReason(result, systemError);
    });
}

nexlet_result nexlet_service_id(nexlet_client client, char** service_id) {
    if (service_id != nullptr) {
        *service_id = nullptr;
    }
    return WithClient(
        __func__, client,
        [&](CClient& one) -> nexlet_result {
            if (service_id == nullptr) {
                return Refuse("service_id is NULL");
            }
            *service_id = NewText(one.Caller().ServiceId());
            return NEXLET_OK;
        },
        /*inCallback=*/true);
}

int32_t nexlet_in_callback(nexlet_client client) {
    const CClientUse one(client);
    return one && one->InCallback() ? 1 : 0;
}

nexlet_result nexlet_start(nexlet_client client, const nexlet_start_options* options, uint32_t timeout_ms) {
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
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
    return WithClient(__func__, client,
                      [&](CClient& one) { return ResultOf(one.Caller().WaitForConnection(timeout_ms)); });
}

nexlet_result nexlet_wait_lost(nexlet_client client, uint32_t timeout_ms) {
    return WithClient(__func__, client, [&](CClient& one) { return ResultOf(one.Caller().WaitForLoss(timeout_ms)); });
}

nexlet_result nexlet_wait_process_end(nexlet_client client, uint32_t timeout_ms, uint32_t* exit_code) {
    return WithClient(__func__, client, [&](CClient& one) {
        DWORD code = 0;
        const CallerResult result = one.Caller().WaitForProcessEnd(timeout_ms, code);
        if (result == CallerResult::Ok && exit_code != nullptr) {
            *exit_code = code;
        }
        return WithReason(result, GetLastError());
    });
}

nexlet_result nexlet_helper_process(nexlet_client client, nexlet_helper* helper) {
    return WithClient(
        __func__, client,
        [&](CClient& one) -> nexlet_result {
            if (helper == nullptr) {
                return Refuse("helper is NULL");
            }
            if (!SizeIsKnown(helper)) {
                return NEXLET_BAD_SIZE;
            }
            CCaller& caller = one.Caller();
            DWORD exitCode = 0;
            helper->process_id = caller.ProcessId();
            helper->connected = caller.Connected() ? 1 : 0;
            helper->connections = caller.Connections();
            helper->forwarded = one.Forwarded() ? 1 : 0;
            helper->ended = caller.ProcessHasEnded(exitCode) ? 1 : 0;
            helper->exit_code = helper->ended != 0 ? exitCode : 0;
            return NEXLET_OK;
        },
        /*inCallback=*/true);
}

nexlet_result nexlet_exit(nexlet_client client, uint32_t timeout_ms, int32_t* ended) {
    return WithClient(__func__, client, [&](CClient& one) {
        bool processEnded = false;
        const CallerResult result = one.Exit(timeout_ms, processEnded);
        if (result == CallerResult::Ok && ended != nullptr) {
            *ended = processEnded ? 1 : 0;
        }
        return ResultOf(result);
    });
}

nexlet_result nexlet_shutdown(nexlet_client client) {
    return WithClient(
        __func__, client,
        [&](CClient& one) -> nexlet_result {
            one.Shutdown();
            return NEXLET_OK;
        },
        /*inCallback=*/true);
}

nexlet_result nexlet_close(nexlet_client client) {
    return Guarded(__func__, [&]() -> nexlet_result {
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
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        Json::Value content;
        if (!ReadJson(content_json, "content_json", content)) {
            return NEXLET_BAD_ARGUMENT;
        }
        return ResultOf(one.Caller().Send(type, std::move(content), timeout_ms));
    });
}

nexlet_result nexlet_send_payload(nexlet_client client, const void* payload, size_t size, uint32_t timeout_ms) {
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        if (payload == nullptr && size != 0) {
            return Refuse("payload is NULL and size is not 0");
        }
        const std::string copy(static_cast<const char*>(payload), size);
        return ResultOf(one.Caller().SendPayload(copy, timeout_ms));
    });
}

nexlet_result nexlet_wait_frame(nexlet_client client, int32_t type, uint32_t timeout_ms, int32_t* found_type,
                                char** payload, size_t* size) {
    if (payload != nullptr) {
        *payload = nullptr;
    }
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        if (payload == nullptr) {
            return Refuse("payload is NULL");
        }
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
    return Guarded(__func__, [&]() -> nexlet_result {
        if (!AreNames(mark, "x")) {
            return NEXLET_BAD_ARGUMENT;
        }
        if (payload == nullptr && size != 0) {
            return Refuse("payload is NULL and size is not 0");
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
