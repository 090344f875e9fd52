// The C interface: requests.
#include <algorithm>

#include "client/app_records.h"
#include "client/client_api.h"
#include "client/client_api_words.h"
#include "client/requests.h"
#include "foundation/json_text.h"

namespace {

// Sets the outputs of a function that are there to null, before anything else.
template <typename... Texts>
void ClearTexts(Texts... texts) {
    ((texts != nullptr ? static_cast<void>(*texts = nullptr) : static_cast<void>(0)), ...);
}

// WithClient for a function with one output, a text of this name.
template <typename Work>
nexlet_result ForText(const char* function, nexlet_client client, char** text, const char* name, Work work) {
    ClearTexts(text);
    return WithClient(function, client, [&](CClient& one) -> nexlet_result {
        return text == nullptr ? Refuse(std::string(name) + " is NULL") : work(one);
    });
}

nexlet_result BadReply(std::string reason) {
    SetReason(std::move(reason));
    return NEXLET_BAD_REPLY;
}

// The text under key, which a reply must have; without it the reason says so.
bool TakeReplyText(const Json::Value& reply, const char* key, std::string& text) {
    const Json::Value* member = reply.isObject() ? FindJsonMember(reply, key) : nullptr;
    if (member == nullptr || !member->isString()) {
        SetReason("the reply has no text under \"" + std::string(key) + "\"");
        return false;
    }
    text = member->asString();
    return true;
}

// Makes a call whose reply is one text under key.
nexlet_result CallForText(CClient& client, int type, Json::Value content, std::uint32_t timeoutMs, const char* key,
                          char** text) {
    Json::Value reply;
    const CallerResult result = client.Call(type, std::move(content), timeoutMs, reply);
    if (result != CallerResult::Ok) {
        return ResultOf(result);
    }
    std::string found;
    if (!TakeReplyText(reply, key, found)) {
        return NEXLET_BAD_REPLY;
    }
    *text = NewText(found);
    return NEXLET_OK;
}

Json::Value NoContent() {
    return Json::Value(Json::objectValue);
}

bool ReadFlag(const Json::Value& status, const char* key, std::int32_t& flag) {
    std::string text;
    if (!TakeReplyText(status, key, text)) {
        return false;
    }
    if (text != "0" && text != "1") {
        SetReason("the reply's \"" + std::string(key) + "\" is neither \"0\" nor \"1\"");
        return false;
    }
    flag = text == "1" ? 1 : 0;
    return true;
}

nexlet_result ReadStatus(const Json::Value& reply, nexlet_app_status& status) {
    std::string text;
    Json::Value flags;
    if (!TakeReplyText(reply, "result", text)) {
        return NEXLET_BAD_REPLY;
    }
    if (!ParseJson(text, flags) || !flags.isObject()) {
        return BadReply("the reply's \"result\" is not the text of a JSON object");
    }
    const bool read =
        ReadFlag(flags, "mini_wx_inst", status.mini_program_installed) &&
        ReadFlag(flags, "mini_wx_login", status.mini_program_logged_in) &&
        ReadFlag(flags, "wx_inst", status.wx_installed) && ReadFlag(flags, "wx_login", status.wx_logged_in) &&
        ReadFlag(flags, "yyb_inst", status.yyb_installed) && ReadFlag(flags, "yyb_login", status.yyb_logged_in);
    return read ? NEXLET_OK : NEXLET_BAD_REPLY;
}

}  // namespace

Json::Value OpenContent(CClient& client, Json::Value open) {
    Json::Value content(Json::objectValue);
    content["service_id"] = client.Caller().ServiceId();
    content["p1"] = std::move(open);
    return content;
}

Json::Value QuestionContent(const char* question) {
    Json::Value content(Json::objectValue);
    content["p1"] = question;
    return content;
}

nexlet_result OpenTarget(CClient& client, Json::Value open, std::uint32_t timeoutMs, char** word) {
    return CallForText(client, NEXLET_TYPE_OPEN, OpenContent(client, std::move(open)), timeoutMs, "result", word);
}

nexlet_result PollTarget(CClient& client, const char* question, std::uint32_t timeoutMs, char** word) {
    return CallForText(client, NEXLET_TYPE_POLL, QuestionContent(question), timeoutMs, "result", word);
}

nexlet_result AwaitTarget(CClient& client, const char* question, std::uint32_t intervalMs, std::uint32_t timeoutMs,
                          char** word) {
    const CDeadline deadline(timeoutMs);
    for (;;) {
        const nexlet_result result = PollTarget(client, question, deadline.RemainingMs(), word);
        if (result != NEXLET_OK || std::string_view(*word) != "Loading") {
            return result;
        }
        nexlet_free(*word);
        *word = nullptr;
        // The pause is a wait for a shutdown, which ends it at once.
        const std::uint32_t left = deadline.RemainingMs();
        const CallerResult paused = client.Caller().WaitForClose(std::min(intervalMs, left));
        if (paused != CallerResult::Timeout || left == 0) {
            SetReason(paused == CallerResult::Timeout ? "the word was \"Loading\" to the end" : "");
            return ResultOf(paused);
        }
    }
}

nexlet_result nexlet_call(nexlet_client client, int32_t type, const char* content_json, uint32_t timeout_ms,
                          char** reply_json) {
    return ForText(__func__, client, reply_json, "reply_json", [&](CClient& one) -> nexlet_result {
        Json::Value content;
        if (!ReadJson(content_json, "content_json", content)) {
            return NEXLET_BAD_ARGUMENT;
        }
        Json::Value reply;
        const CallerResult result = one.Call(type, std::move(content), timeout_ms, reply);
        if (result == CallerResult::Ok) {
            *reply_json = NewText(WriteJson(reply));
        }
        return ResultOf(result);
    });
}

nexlet_result nexlet_status(nexlet_client client, uint32_t timeout_ms, nexlet_app_status* status) {
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        if (status == nullptr) {
            return Refuse("status is NULL");
        }
        if (!SizeIsKnown(status)) {
            return NEXLET_BAD_SIZE;
        }
        Json::Value reply;
        const CallerResult result = one.Call(NEXLET_TYPE_STATUS, NoContent(), timeout_ms, reply);
        if (result != CallerResult::Ok) {
            return ResultOf(result);
        }
        nexlet_app_status read = {};
        read.struct_size = status->struct_size;
        const nexlet_result good = ReadStatus(reply, read);
        if (good == NEXLET_OK) {
            *status = read;
        }
        return good;
    });
}

nexlet_result nexlet_status_encrypted(nexlet_client client, uint32_t timeout_ms, char** envelope) {
    return ForText(__func__, client, envelope, "envelope", [&](CClient& one) {
        return CallForText(one, NEXLET_TYPE_STATUS_ENCRYPTED, NoContent(), timeout_ms, "result", envelope);
    });
}

nexlet_result nexlet_identity(nexlet_client client, uint32_t timeout_ms, char** q32, char** q36) {
    ClearTexts(q32, q36);
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        if (q32 == nullptr || q36 == nullptr) {
            return Refuse(q32 == nullptr ? "q32 is NULL" : "q36 is NULL");
        }
        Json::Value reply;
        const CallerResult result = one.Call(NEXLET_TYPE_IDENTITY, NoContent(), timeout_ms, reply);
        if (result != CallerResult::Ok) {
            return ResultOf(result);
        }
        std::string first;
        std::string second;
        if (!TakeReplyText(reply, "strQ32", first) || !TakeReplyText(reply, "strQ36", second)) {
            return NEXLET_BAD_REPLY;
        }
        char* const copy = NewText(first);
        *q36 = NewText(second);
        *q32 = copy;
        return NEXLET_OK;
    });
}

nexlet_result nexlet_encrypt(nexlet_client client, const char* text, uint32_t timeout_ms, char** envelope) {
    return ForText(__func__, client, envelope, "envelope", [&](CClient& one) -> nexlet_result {
        std::string clear;
        if (!TakeText(text, "text", clear)) {
            return NEXLET_BAD_ARGUMENT;
        }
        Json::Value inner(Json::objectValue);
        inner["text"] = clear;
        Json::Value content(Json::objectValue);
        content["p1"] = WriteJson(inner);
        return CallForText(one, NEXLET_TYPE_ENCRYPT, std::move(content), timeout_ms, "result", envelope);
    });
}

nexlet_result nexlet_open_target(nexlet_client client, const char* open_json, uint32_t timeout_ms, char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        Json::Value open;
        if (!ReadOpen(open_json, "open_json", open)) {
            return NEXLET_BAD_ARGUMENT;
        }
        return OpenTarget(one, std::move(open), timeout_ms, word);
    });
}

nexlet_result nexlet_poll_target(nexlet_client client, const char* question_json, uint32_t timeout_ms, char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        if (!CheckQuestion(question_json, "question_json")) {
            return NEXLET_BAD_ARGUMENT;
        }
        return PollTarget(one, question_json, timeout_ms, word);
    });
}

nexlet_result nexlet_await_target(nexlet_client client, const char* question_json, uint32_t interval_ms,
                                  uint32_t timeout_ms, char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        if (!CheckQuestion(question_json, "question_json")) {
            return NEXLET_BAD_ARGUMENT;
        }
        return AwaitTarget(one, question_json, interval_ms, timeout_ms, word);
    });
}

nexlet_result nexlet_watch_target(nexlet_client client, const char* question_json, uint32_t timeout_ms) {
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        if (!CheckQuestion(question_json, "question_json")) {
            return NEXLET_BAD_ARGUMENT;
        }
        return ResultOf(one.Caller().Send(NEXLET_TYPE_WATCH, QuestionContent(question_json), timeout_ms));
    });
}

nexlet_result nexlet_open_app(nexlet_client client, const nexlet_app* app, uint32_t timeout_ms, char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        Json::Value open;
        const nexlet_result read = ReadApp(app, open);
        return read == NEXLET_OK ? OpenTarget(one, std::move(open), timeout_ms, word) : read;
    });
}

nexlet_result nexlet_poll_app(nexlet_client client, const nexlet_app_question* question, uint32_t timeout_ms,
                              char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        std::string text;
        const nexlet_result read = ReadQuestion(question, /*watch=*/false, text);
        return read == NEXLET_OK ? PollTarget(one, text.c_str(), timeout_ms, word) : read;
    });
}

nexlet_result nexlet_await_app(nexlet_client client, const nexlet_app_question* question, uint32_t interval_ms,
                               uint32_t timeout_ms, char** word) {
    return ForText(__func__, client, word, "word", [&](CClient& one) -> nexlet_result {
        std::string text;
        const nexlet_result read = ReadQuestion(question, /*watch=*/false, text);
        return read == NEXLET_OK ? AwaitTarget(one, text.c_str(), interval_ms, timeout_ms, word) : read;
    });
}

nexlet_result nexlet_watch_app(nexlet_client client, const nexlet_app_question* question, uint32_t timeout_ms) {
    return WithClient(__func__, client, [&](CClient& one) -> nexlet_result {
        std::string text;
        const nexlet_result read = ReadQuestion(question, /*watch=*/true, text);
        return read == NEXLET_OK
                   ? ResultOf(one.Caller().Send(NEXLET_TYPE_WATCH, QuestionContent(text.c_str()), timeout_ms))
                   : read;
    });
}
