// The C interface: requests.
#include <algorithm>

#include "client/client_api.h"
#include "client/requests.h"
#include "foundation/json_text.h"

namespace {

// Sets the outputs of a function to null before anything else.
template <typename... Texts>
bool ClearTexts(Texts... texts) {
    if ((... || (texts == nullptr))) {
        return false;
    }
    ((*texts = nullptr), ...);
    return true;
}

// The text under key, which a reply must have.
bool TakeText(const Json::Value& reply, const char* key, std::string& text) {
    const Json::Value* member = FindJsonMember(reply, key);
    if (member == nullptr || !member->isString()) {
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
    if (!reply.isObject() || !TakeText(reply, key, found)) {
        return NEXLET_BAD_REPLY;
    }
    *text = NewText(found);
    return NEXLET_OK;
}

Json::Value NoContent() {
    return Json::Value(Json::objectValue);
}

Json::Value QuestionContent(const char* question) {
    Json::Value content(Json::objectValue);
    content["p1"] = question;
    return content;
}

bool ReadFlag(const Json::Value& status, const char* key, std::int32_t& flag) {
    std::string text;
    if (!TakeText(status, key, text) || (text != "0" && text != "1")) {
        return false;
    }
    flag = text == "1" ? 1 : 0;
    return true;
}

}  // namespace

nexlet_result nexlet_call(nexlet_client client, int32_t type, const char* content_json, uint32_t timeout_ms,
                          char** reply_json) {
    if (!ClearTexts(reply_json)) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        Json::Value content;
        if (content_json == nullptr || !ParseJson(content_json, content)) {
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
    if (status == nullptr) {
        return NEXLET_BAD_ARGUMENT;
    }
    if (!SizeIsKnown(status)) {
        return NEXLET_BAD_SIZE;
    }
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        Json::Value reply;
        const CallerResult result = one.Call(NEXLET_TYPE_STATUS, NoContent(), timeout_ms, reply);
        if (result != CallerResult::Ok) {
            return ResultOf(result);
        }
        std::string text;
        Json::Value flags;
        nexlet_app_status read = {};
        if (!reply.isObject() || !TakeText(reply, "result", text) || !ParseJson(text, flags) || !flags.isObject() ||
            !ReadFlag(flags, "mini_wx_inst", read.mini_program_installed) ||
            !ReadFlag(flags, "mini_wx_login", read.mini_program_logged_in) ||
            !ReadFlag(flags, "wx_inst", read.wx_installed) || !ReadFlag(flags, "wx_login", read.wx_logged_in) ||
            !ReadFlag(flags, "yyb_inst", read.yyb_installed) || !ReadFlag(flags, "yyb_login", read.yyb_logged_in)) {
            return NEXLET_BAD_REPLY;
        }
        read.struct_size = status->struct_size;
        *status = read;
        return NEXLET_OK;
    });
}

nexlet_result nexlet_status_encrypted(nexlet_client client, uint32_t timeout_ms, char** envelope) {
    if (!ClearTexts(envelope)) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) {
        return CallForText(one, NEXLET_TYPE_STATUS_ENCRYPTED, NoContent(), timeout_ms, "result", envelope);
    });
}

nexlet_result nexlet_identity(nexlet_client client, uint32_t timeout_ms, char** q32, char** q36) {
    if (!ClearTexts(q32, q36)) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        Json::Value reply;
        const CallerResult result = one.Call(NEXLET_TYPE_IDENTITY, NoContent(), timeout_ms, reply);
        if (result != CallerResult::Ok) {
            return ResultOf(result);
        }
        std::string first;
        std::string second;
        if (!reply.isObject() || !TakeText(reply, "strQ32", first) || !TakeText(reply, "strQ36", second)) {
            return NEXLET_BAD_REPLY;
        }
        char* const copy = NewText(first);
        *q36 = NewText(second);
        *q32 = copy;
        return NEXLET_OK;
    });
}

nexlet_result nexlet_encrypt(nexlet_client client, const char* text, uint32_t timeout_ms, char** envelope) {
    if (!ClearTexts(envelope) || text == nullptr) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) {
        Json::Value inner(Json::objectValue);
        inner["text"] = text;
        Json::Value content(Json::objectValue);
        content["p1"] = WriteJson(inner);
        return CallForText(one, NEXLET_TYPE_ENCRYPT, std::move(content), timeout_ms, "result", envelope);
    });
}

nexlet_result nexlet_open_target(nexlet_client client, const char* open_json, uint32_t timeout_ms, char** word) {
    if (!ClearTexts(word)) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        Json::Value open;
        if (open_json == nullptr || !ReadOpen(open_json, open)) {
            return NEXLET_BAD_ARGUMENT;
        }
        Json::Value content(Json::objectValue);
        content["service_id"] = one.Caller().ServiceId();
        content["p1"] = std::move(open);
        return CallForText(one, NEXLET_TYPE_OPEN, std::move(content), timeout_ms, "result", word);
    });
}

nexlet_result nexlet_poll_target(nexlet_client client, const char* question_json, uint32_t timeout_ms, char** word) {
    if (!ClearTexts(word)) {
        return NEXLET_BAD_ARGUMENT;
    }
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        if (question_json == nullptr || !CheckQuestion(question_json)) {
            return NEXLET_BAD_ARGUMENT;
        }
        return CallForText(one, NEXLET_TYPE_POLL, QuestionContent(question_json), timeout_ms, "result", word);
    });
}

nexlet_result nexlet_await_target(nexlet_client client, const char* question_json, uint32_t interval_ms,
                                  uint32_t timeout_ms, char** word) {
    const CDeadline deadline(timeout_ms);
    for (;;) {
        const nexlet_result result = nexlet_poll_target(client, question_json, deadline.RemainingMs(), word);
        if (result != NEXLET_OK || std::string_view(*word) != "Loading") {
            return result;
        }
        nexlet_free(*word);
        *word = nullptr;
        // The pause is a wait for a shutdown, which ends it at once.
        const std::uint32_t left = deadline.RemainingMs();
        const nexlet_result paused = WithClient(
            client, [&](CClient& one) { return ResultOf(one.Caller().WaitForClose(std::min(interval_ms, left))); });
        if (paused != NEXLET_TIMEOUT || left == 0) {
            return paused;
        }
    }
}

nexlet_result nexlet_watch_target(nexlet_client client, const char* question_json, uint32_t timeout_ms) {
    return WithClient(client, [&](CClient& one) -> nexlet_result {
        if (question_json == nullptr || !CheckQuestion(question_json)) {
            return NEXLET_BAD_ARGUMENT;
        }
        return ResultOf(one.Caller().Send(NEXLET_TYPE_WATCH, QuestionContent(question_json), timeout_ms));
    });
}
