// What a helper has to do on the wire, one rule a line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

enum class RuleKind {
    Ready,       // the ready notice of a start
    Answer,      // what is sent is answered with one frame
    Silence,     // what is sent is not answered, and the next request is
    Ends,        // what is sent ends the process with exit code 3
    Bytes,       // bytes as they stand, answered with one frame
    HostReply,   // a frame on the host's pipe is answered there
    HostQuiet,   // a frame on the host's pipe is not answered there, and the next one is
    HostServes,  // a frame on the host's pipe is answered on the service's pipe
    Exchange,    // a recorded exchange is played
    Start,       // a start with a command line of its own: frames come, and the process runs on or ends
    Leave,       // an exit request ends the connection and the process with 0
};

struct Rule {
    std::string id;    // "answer.poll.not-from"; stays the same in later versions
    std::string text;  // what has to happen, for people
    RuleKind kind = RuleKind::Answer;
    // A payload, bytes, an exchange, or the switches of a start. "{service}" is replaced by the service id, in switches
    // also "{mark}", "{channel}" by a good channel, and "{base64:TEXT}" by the text in base64.
    std::string sent;
    std::string reply;                           // the payload that has to come; of a start one a line, none or several
    std::vector<std::string> any = {};           // keys of its content that are not compared
    std::string world = {};                      // what has to be installed, by the name of a scenario; empty: nothing
    std::optional<std::uint32_t> exitCode = {};  // Start: of the process; nothing: it runs on
};

// All rules, those of one session in the order in which they are played.
const std::vector<Rule>& AllRules();

enum class RuleOutcome { Kept, Broken, LeftOut };

struct RuleResult {
    const Rule* rule = nullptr;
    RuleOutcome outcome = RuleOutcome::LeftOut;
    std::string detail;  // what came instead, or why it was left out
};

// "kept", "broken", "left out".
const char* RuleOutcomeName(RuleOutcome outcome);
// "kept      answer.status  ..." and, with a detail, a second line.
std::string RuleLine(const RuleResult& result);
// {"rule":...,"outcome":...,"text":...,"detail":...}
std::string RuleJson(const RuleResult& result);
// A page that needs nothing but itself.
std::string RulePage(const std::string& program, const std::vector<RuleResult>& results);
