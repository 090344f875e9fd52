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
    for (const char* type : {"weChat", "miniApp", "yyb"}) {
        const std::string name = type;
        rules.push_back(PollWord(name + "-lack", R"({\"from\":\"x\",\"type\":\")" + name + R"(\"})",
                                 R"({"from":"x","type":")" + name + R"("})",
                                 "OpenProtocolTimeOut type " + name + " lack param"));
    }
    rules.push_back(PollWord("not-json", "no json", "null", "ParseAppOpenInfo error"));
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
    rules.push_back(Silence("no-json", "a payload that is not JSON", "no json"));
    rules.push_back(Silence("torn-json", "a payload that is JSON without its end", "{"));
    rules.push_back(Silence("zero-first", "a payload that begins with a zero byte", "\0{}"s));
    rules.push_back(Silence("deep", "JSON that is nested 1000 deep", std::string(1000, '[') + std::string(1000, ']')));
    rules.push_back(Silence("array", "JSON that is not an object", "[1]"));
    rules.push_back(Silence("no-type", "an envelope without a type", R"({"content":{}})"));
    rules.push_back(Silence("type-text", "a type that is a text", Envelope("\"2\"", "{}")));
    rules.push_back(Silence("type-real", "a type that is not an integer", Envelope("2.0", "{}")));
    rules.push_back(Silence("type-bool", "a type that is a truth value", Envelope("true", "{}")));
    rules.push_back(Silence("type-large", "a type of more than 32 bits", Envelope("3000000000", "{}")));
    rules.push_back(Silence("no-content", "an envelope without content", R"({"message_type":2})"));
    rules.push_back(Silence("content-text", "content that is a text", Envelope("2", "\"a text\"")));
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
    rules.push_back(Silence("open.service-number", "type 6 with a number as its service",
                            Envelope("6", R"({"p1":{},"service_id":5})")));
    rules.push_back(Silence("poll.no-p1", "type 7 without p1", Envelope("7", "{}")));
    rules.push_back(Silence("poll.p1-object", "type 7 with an object as p1", Envelope("7", R"({"p1":{}})")));
    rules.push_back(Silence("watch.no-p1", "type 8 without p1", Envelope("8", "{}")));
    rules.push_back(
        Silence("watch", "type 8",
                Envelope("8", R"({"p1":"{\"from\":\"x\",\"interval\":0,\"taskId\":\"t\",\"type\":\"miniApp\"}"})")));
    rules.push_back(Silence("exit.no-service", "type 9 without a service", Envelope("9", "{}")));
    rules.push_back(
        Silence("exit.service-number", "type 9 with a number as its service", Envelope("9", R"({"service_id":5})")));
    rules.push_back(
        Silence("exit.nobody", "type 9 for a service that nobody has", Envelope("9", R"({"service_id":"nobody"})")));
}

void AddHostRules(std::vector<Rule>& rules) {
    // Before the command lines: each of them brings one more ready notice.
    const struct {
        const char* type;
        const char* replyType;
        const char* more;   // members of the request
        const char* added;  // members of the reply
        std::vector<std::string> any;
    } kServed[] = {
        {"2", "13", "", R"("result":"",)", {"result"}},
        {"3", "14", "", R"("result":"",)", {"result"}},
        {"4", "15", "", R"("strQ32":"","strQ36":"",)", {"strQ32", "strQ36"}},
        {"5", "16", R"("p1":"{\"text\":\"x\"}",)", R"("p1":"{\"text\":\"x\"}","result":"",)", {"result"}},
        {"6", "17", R"("p1":null,)", R"("p1":null,"result":"ParseAppOpenInfo error","ret":"0",)", {}},
        {"7", "13", R"("p1":"{}",)", R"("p1":{},"result":"not from","ret":"0",)", {}},
    };
    for (const auto& served : kServed) {
        const std::string end = R"("service_id":"{service}","tag":3})";
        rules.push_back(
            {std::string("host.serves.") + served.type,
             std::string("type ") + served.type + " on the host's pipe is answered on the pipe of its service",
             RuleKind::HostServes, Envelope(served.type, "{" + (served.more + end)),
             Envelope(served.replyType, "{" + (served.added + end)), served.any});
    }
    const std::string commandLine = Envelope("1", "\"no switches\"");
    rules.push_back({"host.acknowledges", "a command line on the host's pipe is answered with the byte 1",
                     RuleKind::HostReply, commandLine, "1"});
    const auto quiet = [&](const std::string& id, const std::string& payload) {
        rules.push_back({"host.silence." + id,
                         "a refused payload on the host's pipe is not answered there or elsewhere", RuleKind::HostQuiet,
                         payload, "1"});
    };
    quiet("empty", "");
    quiet("no-json", "{");
    quiet("array", "[]");
    quiet("no-type", R"({"content":{}})");
    quiet("type-text", Envelope("\"2\"", "{}"));
    quiet("no-content", R"({"message_type":2})");
    quiet("content-text", Envelope("6", "\"x\""));
    quiet("type.77", Envelope("77", "{}"));
    for (const char* type : {"2", "3", "4", "5", "6", "7", "8", "9"}) {
        quiet(std::string("null.") + type, Envelope(type, "null"));
        quiet(std::string("no-service.") + type, Envelope(type, R"({"p1":"{}"})"));
        quiet(std::string("service-number.") + type, Envelope(type, R"({"p1":"{}","service_id":5})"));
    }
    quiet("exit.nobody", Envelope("9", R"({"service_id":"nobody"})"));
    quiet("encrypt.no-p1", Envelope("5", R"({"service_id":"{service}"})"));
    quiet("open.p1-text", Envelope("6", R"({"p1":"{}","service_id":"{service}"})"));
    quiet("poll.p1-object", Envelope("7", R"({"p1":{},"service_id":"{service}"})"));
    quiet("watch.no-p1", Envelope("8", R"({"service_id":"{service}"})"));
    // The service is made, and nobody serves its pipe.
    quiet("reply-to-nobody", Envelope("7", R"({"p1":"{}","service_id":"nobody"})"));
}

void AddStarts(std::vector<Rule>& rules) {
    const std::string notice = Envelope("12", R"({"p1":"1"})") + "\n";
    const std::string probed =
        Envelope("13", R"({"p1":{},"result":"not from","ret":"0","service_id":"{service}"})") + "\n";
    const std::string probe = Envelope("7", R"({"p1":"{}","service_id":"{service}"})");
    const std::string parameter = " /param:{base64:" + probe + "}";
    const std::string mark = "/from:{mark} /service_id:{service}";
    const auto start = [&](const std::string& id, const std::string& text, const std::string& switches,
                           const std::string& reply, std::optional<std::uint32_t> exitCode = {}) {
        Rule rule{"start." + id, text, RuleKind::Start, switches, reply};
        rule.exitCode = exitCode;
        rules.push_back(std::move(rule));
    };
    start("no-mark", "a start without a mark ends with 0", "/channel:{channel} /service_id:{service}", "", 0);
    start("quoted", "a quoted mark and service id are read to their ends",
          "/from:\"{mark}\" /channel:{channel} /service_id:\"{service}\"", notice);
    start("type", "a request on the command line is answered before the ready notice",
          mark + " /channel:{channel} /type:7" + parameter, probed + notice);
    for (const char* type : {"1", "0", "9", "-1"}) {
        start(std::string("type.") + type, std::string("a start with /type:") + type + " does not read its parameter",
              std::string(mark).append(" /channel:{channel} /type:").append(type).append(parameter), notice);
    }
    start("type-text", "a /type: that is not a number ends the process with 3", mark + " /channel:{channel} /type:abc",
          "", 3);
    start("no-channel", "a start without a channel is served", mark, notice);
    start("channel-no-json", "a channel that is not JSON is not used, and the service works",
          mark + " /channel:{base64:no json}", notice);
    start("channel-array", "a channel that is not an object is not used, and the service works",
          mark + " /channel:{base64:[]}", notice);
    start("channel-no-mid", "a channel without a machine id is used",
          mark + R"( /channel:{base64:{"channel_id":"7","from":"f","product":"p"}})", notice);
    start("channel-id-number", "a channel_id of the wrong kind ends the process with 3",
          mark + R"( /channel:{base64:{"channel_id":7,"from":"f","mid":"m","product":"p"}})", "", 3);
    start("channel-id-word", "a channel_id that is not a number ends the process with 3",
          mark + R"( /channel:{base64:{"channel_id":"x","from":"f","mid":"m","product":"p"}})", "", 3);
    start("no-channel-id", "a channel without a channel_id ends the process with 3",
          mark + R"( /channel:{base64:{"from":"f","mid":"m","product":"p"}})", "", 3);
    start("channel-product-number", "a channel whose product is a number ends the process with 3",
          mark + R"( /channel:{base64:{"channel_id":"7","from":"f","mid":"m","product":5}})", "", 3);
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
        const auto exchange = [&](const std::string& name, std::string_view text, const std::string& world) {
            Rule rule{"exchange." + name, "the recorded exchange " + name + ".exchange", RuleKind::Exchange,
                      std::string(text), ""};
            rule.world = world;
            all.push_back(std::move(rule));
        };
        exchange("requests", kRequestsExchange, "");
        exchange("words", kWordsExchange, "");
        exchange("refusals", kRefusalsExchange, "");
        exchange("open", kOpenExchange, "opens");
        exchange("products", kProductsExchange, "products");
        exchange("refuses", kRefusesExchange, "refuses");
        exchange("fails", kFailsExchange, "fails");
        exchange("missing", kMissingExchange, "missing");
        exchange("bare", kBareExchange, "bare");
        exchange("screen-saver", kScreenSaverExchange, "screen-saver");
        AddStarts(all);
        AddEnds(all);
        return all;
    }();
    return rules;
}
