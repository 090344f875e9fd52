// What a helper has to do on the wire, one rule a line.
#pragma once

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
    Leave,       // an exit request ends the connection and the process with 0
};

struct Rule {
    std::string id;    // "answer.poll.not-from"; stays the same in later versions
    std::string text;  // what has to happen, for people
    RuleKind kind = RuleKind::Answer;
    std::string sent;                   // a payload, bytes or an exchange; "{service}" is replaced by the service id
    std::string reply;                  // the payload that has to come
    std::vector<std::string> any = {};  // keys of its content that are not compared
    bool needsWorld = false;            // needs an SDK that answers
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
