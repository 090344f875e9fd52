// The C interface: requests that do not wait.
#include <type_traits>

#include "client/app_records.h"
#include "client/client_api.h"
#include "client/client_api_words.h"
#include "client/request_handles.h"
#include "client/requests.h"
#include "foundation/json_text.h"

namespace {

// What a request that has ended gave, as texts. A reply without a word has an empty one.
struct Ended {
    explicit Ended(const CRequest& request) : result(ResultOf(request.Result())) {
        if (result != NEXLET_OK) {
            return;
        }
        strReply = WriteJson(request.Reply());
        const Json::Value* word = FindJsonMember(request.Reply(), "result");
        if (word != nullptr && word->isString()) {
            strWord = word->asString();
        }
    }

    const nexlet_result result;
    std::string strWord;
    std::string strReply;
};

CRequest::Done MakeDone(const nexlet_request_options& options, nexlet_client client, nexlet_request handle) {
    if (options.on_done == nullptr) {
        return {};
    }
    return [context = options.context, onDone = options.on_done, client, handle](const CRequest& request) {
        try {
            const Ended ended(request);
            std::string reason;
            if (ended.result != NEXLET_OK) {
                SetReason(request.Reason());
                KeepFailure("nexlet_begin", ended.result, nullptr);
                reason = nexlet_last_error_text();
            }
            nexlet_outcome outcome = {};
            outcome.struct_size = sizeof outcome;
            outcome.result = ended.result;
            outcome.word = ended.strWord.c_str();
            outcome.reply_json = ended.strReply.c_str();
            outcome.error_text = reason.c_str();
            onDone(context, client, handle, &outcome);
        } catch (const std::bad_alloc&) {
            const nexlet_outcome outcome = {sizeof outcome, NEXLET_SYSTEM_ERROR, "", "", ""};
            onDone(context, client, handle, &outcome);
        }
    };
}

nexlet_result ReadRequestOptions(const nexlet_request_options* given, nexlet_request_options& options) {
    if (given == nullptr) {
        return Refuse("options is NULL");
    }
    return ReadRecord(given, options) ? NEXLET_OK : NEXLET_BAD_SIZE;
}

// Begins one whose content was checked.
nexlet_result Begin(CClient& client, nexlet_client clientHandle, int type, Json::Value content,
                    const nexlet_request_options& options, nexlet_request* request) {
    const nexlet_request handle = request != nullptr ? ReserveRequest() : 0;
    RequestEntry entry;
    entry.client = clientHandle;
    entry.pLine = client.Line();
    CallerResult result = client.MakeRequest(type, std::move(content), options.timeout_ms,
                                             MakeDone(options, clientHandle, handle), entry.pRequest);
    if (result != CallerResult::Ok) {
        return ResultOf(result);
    }
    const std::shared_ptr<CRequest> pointer = entry.pRequest;
    if (request != nullptr) {
        // Before it begins: its callback may come at once and look it up.
        AddRequest(handle, std::move(entry));
        *request = handle;
    }
    result = client.Line()->Begin(pointer, /*waited=*/false);
    if (result != CallerResult::Ok && request != nullptr) {
        RemoveRequest(handle);
        *request = 0;
    }
    return ResultOf(result);
}

// read makes the content, or gives another result than NEXLET_OK with the reason.
template <typename Read>
nexlet_result BeginWith(const char* function, nexlet_client client, int type, const nexlet_request_options* given,
                        nexlet_request* request, Read read) {
    // A truth value would pass for a result, with the opposite meaning.
    static_assert(std::is_same_v<std::invoke_result_t<Read, CClient&, Json::Value&>, nexlet_result>);
    if (request != nullptr) {
        *request = 0;
    }
    return WithClient(
        function, client,
        [&](CClient& one) -> nexlet_result {
            nexlet_request_options options = {};
            const nexlet_result known = ReadRequestOptions(given, options);
            if (known != NEXLET_OK) {
                return known;
            }
            Json::Value content;
            const nexlet_result made = read(one, content);
            return made == NEXLET_OK ? Begin(one, client, type, std::move(content), options, request) : made;
        },
        /*inCallback=*/true);
}

// Whether the calling thread is inside a callback of the client, which may be gone.
bool IsInCallbackOf(nexlet_client client) {
    const CClientUse one(client);
    return one && one->InCallback();
}

}  // namespace

nexlet_result nexlet_begin(nexlet_client client, int32_t type, const char* content_json,
                           const nexlet_request_options* options, nexlet_request* request) {
    return BeginWith(__func__, client, type, options, request, [&](CClient&, Json::Value& content) -> nexlet_result {
        return ReadJson(content_json, "content_json", content) ? NEXLET_OK : NEXLET_BAD_ARGUMENT;
    });
}

nexlet_result nexlet_begin_open(nexlet_client client, const char* open_json, const nexlet_request_options* options,
                                nexlet_request* request) {
    return BeginWith(__func__, client, NEXLET_TYPE_OPEN, options, request,
                     [&](CClient& one, Json::Value& content) -> nexlet_result {
                         Json::Value open;
                         if (!ReadOpen(open_json, "open_json", open)) {
                             return NEXLET_BAD_ARGUMENT;
                         }
                         content = OpenContent(one, std::move(open));
                         return NEXLET_OK;
                     });
}

nexlet_result nexlet_begin_open_app(nexlet_client client, const nexlet_app* app, const nexlet_request_options* options,
                                    nexlet_request* request) {
    return BeginWith(__func__, client, NEXLET_TYPE_OPEN, options, request,
                     [&](CClient& one, Json::Value& content) -> nexlet_result {
                         Json::Value open;
                         const nexlet_result read = ReadApp(app, open);
                         content = OpenContent(one, std::move(open));
                         return read;
                     });
}

nexlet_result nexlet_begin_poll_app(nexlet_client client, const nexlet_app_question* question,
                                    const nexlet_request_options* options, nexlet_request* request) {
    return BeginWith(__func__, client, NEXLET_TYPE_POLL, options, request,
                     [&](CClient&, Json::Value& content) -> nexlet_result {
                         std::string text;
                         const nexlet_result read = ReadQuestion(question, /*watch=*/false, text);
                         content = QuestionContent(text.c_str());
                         return read;
                     });
}

nexlet_result nexlet_begin_poll(nexlet_client client, const char* question_json, const nexlet_request_options* options,
                                nexlet_request* request) {
    return BeginWith(__func__, client, NEXLET_TYPE_POLL, options, request,
                     [&](CClient&, Json::Value& content) -> nexlet_result {
                         if (!CheckQuestion(question_json, "question_json")) {
                             return NEXLET_BAD_ARGUMENT;
                         }
                         content = QuestionContent(question_json);
                         return NEXLET_OK;
                     });
}

nexlet_result nexlet_cancel(nexlet_request request) {
    return Guarded(__func__, [&]() -> nexlet_result {
        const RequestEntry entry = FindRequestEntry(request);
        if (entry.pRequest == nullptr) {
            return NEXLET_BAD_HANDLE;
        }
        if (const std::shared_ptr<CRequestLine> line = entry.pLine.lock(); line != nullptr) {
            line->Cancel(*entry.pRequest);
        }
        return NEXLET_OK;
    });
}

nexlet_result nexlet_request_result(nexlet_request request, uint32_t timeout_ms, char** word, char** reply_json) {
    for (char** text : {word, reply_json}) {
        if (text != nullptr) {
            *text = nullptr;
        }
    }
    return Guarded(__func__, [&]() -> nexlet_result {
        const RequestEntry entry = FindRequestEntry(request);
        if (entry.pRequest == nullptr) {
            return NEXLET_BAD_HANDLE;
        }
        if (!entry.pRequest->WaitForEnd(0)) {
            if (timeout_ms != 0 && IsInCallbackOf(entry.client)) {
                return NEXLET_WRONG_THREAD;
            }
            if (!entry.pRequest->WaitForEnd(timeout_ms)) {
                return NEXLET_PENDING;
            }
        }
        const Ended ended(*entry.pRequest);
        SetReason(entry.pRequest->Reason());
        if (ended.result == NEXLET_OK) {
            char* const copy = word != nullptr ? NewText(ended.strWord) : nullptr;
            if (reply_json != nullptr) {
                *reply_json = NewText(ended.strReply);
            }
            if (word != nullptr) {
                *word = copy;
            }
        }
        return ended.result;
    });
}

nexlet_result nexlet_request_handle(nexlet_request request, void** handle) {
    return Guarded(__func__, [&]() -> nexlet_result {
        const RequestEntry entry = FindRequestEntry(request);
        if (entry.pRequest == nullptr) {
            return NEXLET_BAD_HANDLE;
        }
        if (handle == nullptr) {
            return Refuse("handle is NULL");
        }
        const HANDLE event = entry.pRequest->EndEvent();
        if (event == nullptr) {
            return NEXLET_SYSTEM_ERROR;
        }
        *handle = event;
        return NEXLET_OK;
    });
}

nexlet_result nexlet_request_close(nexlet_request request) {
    return Guarded(__func__, [&]() -> nexlet_result {
        const RequestEntry entry = RemoveRequest(request);
        if (entry.pRequest == nullptr) {
            return NEXLET_BAD_HANDLE;
        }
        if (const std::shared_ptr<CRequestLine> line = entry.pLine.lock(); line != nullptr) {
            line->Cancel(*entry.pRequest);
        }
        return NEXLET_OK;
    });
}
