#include "nexctl/conformance/rules.h"

#include <golden_exchanges.h>

#include "ipc/transport/frame.h"

namespace {

std::string Envelope(const std::string& type, const std::string& content) {
    return R"({"content":)" + content + R"(,"message_type":)" + type + "}";
}

Rule Silence(const std::string& id, const std::string& text, const std::string& payload) {
    return {"silence." + id, text + " is not answered", RuleKind::Silence, payload, ""};
}

Rule Ends(const std::string& id, const std::string& text, const std::string& type, const std::string& content) {
    return {"ends." + id, text + " ends the process with exit code 3", RuleKind::Ends, Envelope(type, content), ""};
}

// An open whose word does not depend on what is installed.
Rule OpenWord(const std::string& id, const std::string& p1, const std::string& word) {
    return {"open." + id, "an open of this kind is answered with \"" + word + "\"", RuleKind::Answer,
            Envelope("6", R"({"p1":)" + p1 + R"(,"service_id":"{service}","tag":1})"),
            Envelope("17",
                     R"({"p1":)" + p1 + R"(,"result":")" + word + R"(","ret":"0","service_id":"{service}","tag":1})")};
}

// A question, whose text comes back as the object that it holds.
Rule PollWord(const std::string& id, const std::string& quoted, const std::string& p1, const std::string& word) {
    return {"poll." + id, "a question of this kind is answered with \"" + word + "\"", RuleKind::Answer,
            Envelope("7", R"({"p1":")" + quoted + R"(","tag":1})"),
            Envelope("13", R"({"p1":)" + p1 + R"(,"result":")" + word + R"(","ret":"0","tag":1})")};
}

void AddAnswers(std::vector<Rule>& rules) {
    rules.push_back(
        {"ready", "a start is answered with the ready notice", RuleKind::Ready, "", Envelope("12", R"({"p1":"1"})")});
    rules.push_back({"answer.status",
                     "type 2 is answered with type 13, what was sent comes back",
                     RuleKind::Answer,
                     Envelope("2", R"({"mine":[1,null,"中"],"tag":1})"),
                     Envelope("13", R"({"mine":[1,null,"中"],"result":"","tag":1})"),
                     {"result"}});
    rules.push_back({"answer.status-encrypted",
                     "type 3 is answered with type 14",
                     RuleKind::Answer,
                     Envelope("3", R"({"tag":1})"),
                     Envelope("14", R"({"result":"","tag":1})"),
                     {"result"}});
    rules.push_back({"answer.identity",
                     "type 4 is answered with type 15 and both texts",
                     RuleKind::Answer,
                     Envelope("4", R"({"tag":1})"),
                     Envelope("15", R"({"strQ32":"","strQ36":"","tag":1})"),
                     {"strQ32", "strQ36"}});
    rules.push_back({"answer.encrypt",
                     "type 5 is answered with type 16",
                     RuleKind::Answer,
                     Envelope("5", R"({"p1":"{\"text\":\"x\"}","tag":1})"),
                     Envelope("16", R"({"p1":"{\"text\":\"x\"}","result":"","tag":1})"),
                     {"result"}});
    rules.push_back(OpenWord("not-object", "null", "ParseAppOpenInfo error"));
    rules.push_back(OpenWord("not-from", R"({"type":"miniApp"})", "not from"));
    rules.push_back(OpenWord("not-type", R"({"from":"x","taskId":"t","type":"MINIAPP"})", "not type"));
    rules.push_back(OpenWord("mini-lack", R"({"from":"x","type":"miniApp"})", "OpenWithWxSDK lack param"));
    rules.push_back(OpenWord("wechat-lack", R"({"from":"x","type":"weChat"})", "OpenWithWeChat lack param"));
    rules.push_back(OpenWord("yyb-lack", R"({"from":"x","type":"yyb"})", "OpenWidthYybSDK lack param"));
    rules.push_back(PollWord("not-from", "{}", "{}", "not from"));
    rules.push_back(
        PollWord("not-type", R"({\"from\":\"x\",\"type\":\"other\"})", R"({"from":"x","type":"other"})", "not type"));
    rules.push_back(PollWord("no-task", R"({\"from\":\"x\",\"taskId\":\"nobody\",\"type\":\"miniApp\"})",
                             R"({"from":"x","taskId":"nobody","type":"miniApp"})", "0"));
}

void AddOddities(std::vector<Rule>& rules) {
    const std::string reply = Envelope("13", R"({"p1":{},"result":"not from","ret":"0","tag":2})");
    const std::string probe = Envelope("7", R"({"p1":"{}","tag":2})");
    rules.push_back({"oddity.comment", "a comment before the envelope and text after it are skipped", RuleKind::Answer,
                     "/* why */ " + probe + " and more", reply});
    rules.push_back({"oddity.zero-byte", "a payload is cut at its first zero byte", RuleKind::Answer,
                     probe + std::string("\0 anything", 10), reply});
    rules.push_back({"oddity.other-frame", "a frame of another type is skipped by its length", RuleKind::Bytes,
                     BuildFrame("anything", PIPE_FRAME_MAGIC + 1) + BuildFrame(probe), reply});
}

void AddRefusals(std::vector<Rule>& rules) {
    using namespace std::string_literals;
    rules.push_back(Silence("empty", "an empty payload", ""));
    rules.push_back(Silence("no-json", "a payload that is not JSON", "{"));
    rules.push_back(Silence("zero-first", "a payload that begins with a zero byte", "\0{}"s));
    rules.push_back(Silence("deep", "JSON that is nested 1000 deep", std::string(1000, '[') + std::string(1000, ']')));
    rules.push_back(Silence("array", "JSON that is not an object", "[]"));
    rules.push_back(Silence("no-type", "an envelope without a type", R"({"content":{}})"));
    rules.push_back(Silence("type-text", "a type that is a text", Envelope("\"2\"", "{}")));
    rules.push_back(Silence("type-real", "a type that is not an integer", Envelope("2.0", "{}")));
    rules.push_back(Silence("type-bool", "a type that is a truth value", Envelope("true", "{}")));
    rules.push_back(Silence("type-large", "a type of more than 32 bits", Envelope("3000000000", "{}")));
    rules.push_back(Silence("no-content", "an envelope without content", R"({"message_type":2})"));
    rules.push_back(Silence("content-text", "content that is a text", Envelope("2", "\"{}\"")));
    rules.push_back(Silence("content-array", "content that is a list", Envelope("2", "[]")));
    for (const char* type : {"0", "-1", "10", "11", "12", "99"}) {
        rules.push_back(Silence(std::string("type.") + type, std::string("type ") + type, Envelope(type, "{}")));
    }
    rules.push_back(Silence("command-line", "a command line on the caller's pipe", Envelope("1", "\"/from:x\"")));
    for (const char* type : {"2", "3", "4", "5", "6", "7", "8", "9"}) {
        rules.push_back(Silence(std::string("null.") + type, std::string("type ") + type + " with null as its content",
                                Envelope(type, "null")));
    }
    rules.push_back(Silence("encrypt.no-p1", "type 5 without p1", Envelope("5", "{}")));
    rules.push_back(Silence("open.no-p1", "type 6 without p1", Envelope("6", R"({"service_id":"{service}"})")));
    rules.push_back(Silence("open.no-service", "type 6 without a service", Envelope("6", R"({"p1":{}})")));
    rules.push_back(
        Silence("open.p1-text", "type 6 with a text as p1", Envelope("6", R"({"p1":"{}","service_id":"{service}"})")));
    rules.push_back(Silence("poll.no-p1", "type 7 without p1", Envelope("7", "{}")));
    rules.push_back(Silence("poll.p1-object", "type 7 with an object as p1", Envelope("7", R"({"p1":{}})")));
    rules.push_back(Silence("watch.no-p1", "type 8 without p1", Envelope("8", "{}")));
    rules.push_back(
        Silence("watch", "type 8",
                Envelope("8", R"({"p1":"{\"from\":\"x\",\"interval\":0,\"taskId\":\"t\",\"type\":\"miniApp\"}"})")));
    rules.push_back(Silence("exit.no-service", "type 9 without a service", Envelope("9", "{}")));
    rules.push_back(
        Silence("exit.nobody", "type 9 for a service that nobody has", Envelope("9", R"({"service_id":"nobody"})")));
}

void AddHostRules(std::vector<Rule>& rules) {
    // Before the command lines: each of them brings one more ready notice.
    rules.push_back({"host.serves", "a request on the host's pipe is answered on the pipe of its service",
                     RuleKind::HostServes, Envelope("7", R"({"p1":"{}","service_id":"{service}","tag":3})"),
                     Envelope("13", R"({"p1":{},"result":"not from","ret":"0","service_id":"{service}","tag":3})")});
    const std::string commandLine = Envelope("1", "\"no switches\"");
    rules.push_back({"host.acknowledges", "a command line on the host's pipe is answered with the byte 1",
                     RuleKind::HostReply, commandLine, "1"});
    for (const auto& [id, payload] : {std::pair<const char*, std::string>{"empty", ""},
                                      {"no-json", "{"},
                                      {"array", "[]"},
                                      {"type-text", Envelope("\"2\"", "{}")},
                                      {"content-text", Envelope("6", "\"x\"")},
                                      {"type.77", Envelope("77", "{}")}}) {
        rules.push_back({std::string("host.silence.") + id, "a refused payload on the host's pipe is not answered",
                         RuleKind::HostQuiet, payload, "1"});
    }
}

void AddEnds(std::vector<Rule>& rules) {
    rules.push_back(Ends("command-line", "type 1 with a number as its content", "1", "5"));
    rules.push_back(Ends("encrypt.p1", "type 5 with an object as p1", "5", R"({"p1":{}})"));
    rules.push_back(Ends("open.type", "an open whose type is a number", "6",
                         R"({"p1":{"from":"x","type":5},"service_id":"{service}"})"));
    rules.push_back(Ends("open.flag", "an open with a flag that is a text", "6",
                         R"({"p1":{"from":"x","try_install":"1"},"service_id":"{service}"})"));
    rules.push_back(
        Ends("poll.window", "a question whose mon_wndexists is a text", "7", R"({"p1":"{\"mon_wndexists\":\"1\"}"})"));
    rules.push_back(Ends("watch.p1", "type 8 with an object as p1", "8", R"({"p1":{}})"));
}

}  // namespace

const std::vector<Rule>& AllRules() {
    static const std::vector<Rule> rules = [] {
        std::vector<Rule> all;
        AddAnswers(all);
        AddOddities(all);
        AddRefusals(all);
        AddHostRules(all);
        all.push_back({"leave", "type 9 ends the connection, and the process with exit code 0", RuleKind::Leave,
                       Envelope("9", R"({"service_id":"{service}"})"), ""});
        all.push_back({"exchange.requests", "the recorded exchange of requests", RuleKind::Exchange,
                       std::string(kRequestsExchange), ""});
        all.push_back({"exchange.refusals", "the recorded exchange of refusals", RuleKind::Exchange,
                       std::string(kRefusalsExchange), ""});
        Rule open{"exchange.open", "the recorded exchange of an open", RuleKind::Exchange, std::string(kOpenExchange),
                  ""};
        open.needsWorld = true;
        all.push_back(std::move(open));
        AddEnds(all);
        return all;
    }();
    return rules;
}
