// JSON as it comes in messages, in their texts, in the channel, in the daily file and from the SDKs.
#include <exception>
#include <utility>

#include "bench/bench_table.h"
#include "bench/worst_inputs.h"
#include "foundation/json_text.h"
#include "foundation/shared_json.h"
#include "host/command_line.h"
#include "host/monitor_notice.h"
#include "host/remote_config_rule.h"
#include "host/request_rules.h"
#include "ipc/protocol/envelope.h"
#include "open/record/channel_config.h"
#include "open/request/mini_program_service.h"
#include "open/request/open_request.h"
#include "open/yyb/qimei.h"
#include "open/yyb/yyb_tasks.h"
#include "service/delay_check.h"
#include "service/request_body.h"
#include "tests/support/message_number.h"

namespace {

using Make = std::function<std::string(std::size_t size)>;
using Read = std::function<void(const std::string& text)>;

struct Kind {
    const char* name;
    Make make;
};

Make Of(std::string piece, std::string begin = "", std::string end = "") {
    return [piece = std::move(piece), begin = std::move(begin), end = std::move(end)](std::size_t size) {
        return Repeated(piece, size, begin, end);
    };
}

// "prefix0000001":1 and so on.
Make Members(std::string prefix) {
    return [prefix = std::move(prefix)](std::size_t size) {
        std::string text = "{";
        for (std::size_t number = 0; text.size() + prefix.size() + 20 < size; ++number) {
            const std::string digits = std::to_string(10000000 + number);
            text += (text.size() > 1 ? ",\"" : "\"") + prefix + digits + "\":1";
        }
        return text + "}";
    };
}

std::string Nest(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']') + ",";
}

// One JSON value of about this size.
const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds = {
        {"a long text", Of("x", "\"", "\"")},
        {"a text of escapes", Of("\\n", "\"", "\"")},
        {"a text of \\u escapes", Of("\\u4e2d", "\"", "\"")},
        {"a text of surrogate pairs", Of("\\ud83d\\ude00", "\"", "\"")},
        {"a text that is not closed", Of("x", "\"")},
        {"texts", Of("\"\",", "[", "1]")},
        {"blanks", Of(" ", "[1", "]")},
        {"line ends", Of("\r\n", "[1", "]")},
        {"comments on one line", Of("/**/", "[1", "]")},
        {"comments before a value", Of("/**/", "", "1")},
        {"comments that end with their line", Of("//\n", "[1", "]")},
        {"comments of several lines", Of("/*\n\n*/", "[1", "]")},
        {"values with a comment each", Of("1/**/,", "[", "1]")},
        {"one long comment", Of("*", "[1/*", "*/]")},
        {"a comment that is not closed", Of("*", "[1/*")},
        {"small numbers", Of("1,", "[", "1]")},
        {"numbers with exponents", Of("1e300,", "[", "1]")},
        {"a number of many digits", Of("9")},
        {"a number of many decimals", Of("123456789", "0.")},
        {"a number with a long exponent", Of("0", "1e", "1")},
        {"a number of many digits and decimals", Of("7", "0.5", "e-1000000")},
        {"a number of many digits with an exponent", Of("7", "1", "e-16777000")},
        {"numbers of 1000 digits", Of("0." + std::string(1000, '7') + ",", "[", "1]")},
        {"numbers of 100 digits", Of(std::string(100, '7') + ",", "[", "1]")},
        {"numbers of 10000 digits", Of(std::string(10000, '7') + "." + std::string(200, '3') + ",", "[", "1]")},
        {"empty lists", Of("[],", "[", "1]")},
        {"empty objects", Of("{},", "[", "1]")},
        {"lists 900 deep", Of(Nest(900), "[", "1]")},
        {"lists too deep", Of("[")},
        {"objects too deep", Of("{\"a\":")},
        {"members", Members("")},
        {"members whose names begin alike", Members(std::string(1000, 'k'))},
        {"one member again and again", Of("\"a\":1,", "{", "\"b\":1}")},
        {"one member, its value growing", Of("\"a\":[1,2,3],", "{", "\"b\":1}")},
        {"a list that is not closed", Of("1,", "[")},
        {"words that are none", Of("x,", "[", "1]")},
        {"lists with a wrong word each", Of("[x],", "[", "1]")},
        {"closing brackets", Of("]", "[")},
        {"text after the root", Of("]", "[] ")},
    };
    return kinds;
}

// Reads a text that may hold a conversion which ends the process.
Read Settled(Read read) {
    return [read = std::move(read)](const std::string& text) {
        try {
            read(text);
        } catch (const std::exception& error) {
            Keep(error);
        }
    };
}

// A value of this kind as a member.
Make InObject(std::string begin, const Make& make, std::string end) {
    return
        [begin = std::move(begin), make, end = std::move(end)](std::size_t size) { return begin + make(size) + end; };
}

// The same as a text in a body: {"p1":"..."}.
Make AsText(const Make& make) {
    return [make](std::size_t size) {
        Json::Value body(Json::objectValue);
        body["p1"] = make(size);
        return WriteJson(body);
    };
}

class CNoSettler final : public YYB_API_CLIENT::IYybSettler {
  public:
    void Settle(const std::string& pkgname, const char*) override { Keep(pkgname); }
};

Json::Value ValueOf(const std::string& text) {
    Json::Value value;
    ParseJson(text, value);
    return value;
}

void ReadRequest(const std::string& text) {
    Request request;
    if (ReadEnvelope(text, request) != EnvelopeStatus::Ok) {
        return;
    }
    std::string id;
    ReadRequestServiceId(request.content, false, id);
    Keep(WriteEnvelope(Number(MessageType::S_MT_StatusReply), std::move(request.content)));
}

void ReadPoll(const std::string& text) {
    Json::Value content = ValueOf(text);
    OpenPollInfo info;
    Keep(ParseOpenPollInfo(TakeOpenMiniAppSuccessfully(content), info));
    Keep(WriteEnvelope(Number(MessageType::S_MT_StatusReply), std::move(content)));
}

void ReadDelayedCheck(const std::string& text) {
    const CSharedJson question(text);
    Keep(DelayInterval(question.Value()));
    if (question.Value().isObject()) {
        Keep(SelectLogUrls(question.Value(), true));
    }
}

void ReadOpen(const std::string& text) {
    AppOpenInfo info;
    Keep(WxMiniProgramService::ParseAppOpenInfo(ValueOf(text), info));
}

}  // namespace

void AddJson(WorstInputs& inputs) {
    for (const Kind& kind : Kinds()) {
        inputs.push_back(TextInput(
            std::string("request and reply: ") + kind.name,
            InObject(R"({"content":{"service_id":"s","x":)", kind.make, R"(},"message_type":2})"), &ReadRequest));
    }
    // Every other reader of JSON rests on the same parser: what it adds shows with few kinds.
    for (const Kind& kind : Kinds()) {
        const std::string name = kind.name;
        if (name != "a long text" && name != "comments on one line" && name != "small numbers" && name != "members") {
            continue;
        }
        const auto add = [&](const char* reader, const Make& make, Read read) {
            inputs.push_back(TextInput(std::string(reader) + ": " + name, make, std::move(read)));
        };
        add("poll", AsText(kind.make), &ReadPoll);
        add("delayed check", InObject(R"({"interval":5000,"x":)", kind.make, "}"), &ReadDelayedCheck);
        add("text to seal", kind.make, [](const std::string& text) { Keep(TextToEncrypt(Json::Value(text))); });
        add("open", InObject(R"({"type":"yyb","x":)", kind.make, "}"), Settled(&ReadOpen));
        add("open, in its type", InObject(R"({"type":)", kind.make, "}"), Settled(&ReadOpen));
        add("monitor notice", InObject(R"({"isWxPopShow":1,"wxPopData":{"ext_data":)", kind.make, "}}"),
            Settled([](const std::string& text) {
                MonitorRequest request;
                ReadMonitorRequest(ValueOf(text), request);
                Keep(request.bag.Serialize());
            }));
        add("daily configuration", InObject(R"({"appShortcut":{"create":1,"x":)", kind.make, "}}"),
            [](const std::string& text) { Keep(ReadRemoteConfig(text)); });
        add("channel", InObject(R"({"mid":"m","channel_id":"1","x":)", kind.make, "}"),
            Settled([](const std::string& text) {
                std::string mid;
                ReadChannelMid(text, mid);
                ChannelConfig config;
                Keep(ParseChannelConfig(text, false, config));
            }));
        add("state report", InObject(R"({"status":"CompleteLaunch","pkgname":"p","x":)", kind.make, "}"),
            Settled([](const std::string& text) {
                CNoSettler settler;
                YYB_API_CLIENT::OnDownloadStatus(settler, text.c_str(), 0);
            }));
        add("identity", InObject(R"({"qimei32":"q","x":)", kind.make, "}"), Settled([](const std::string& text) {
                YYB_API_CLIENT::QimeiPair pair;
                Keep(YYB_API_CLIENT::ParseQimeiAnswer(text, pair));
            }));
    }
}
