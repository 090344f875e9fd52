// A command line of nexctl: options and the steps to take, in order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a verb is called and what stands behind it.
struct VerbInfo {
    const char* name;
    const char* arguments;  // as help shows them
    std::size_t count;      // how many there are
    const char* summary;
    const char* details;  // paragraphs for "nexctl help VERB"
};

// Null when there is no verb of this name.
const VerbInfo* FindVerb(std::string_view name);
const std::vector<VerbInfo>& AllVerbs();

struct Step {
    const VerbInfo* verb = nullptr;
    std::vector<std::string> arguments;      // files already read in
    std::optional<std::uint32_t> timeoutMs;  // instead of the script's
    std::string until;                       // poll: the result word to wait for
    std::uint32_t everyMs = 500;             // poll: the pause between two asks
    std::optional<int> expect;               // send, host: the reply's type, 0 for none
    std::uint32_t count = 0;                 // listen, log follow: frames or lines to print, 0 for no limit
    std::string file;                        // log: the file, empty for the newest or that of pid
    std::string function;                    // log: what a line's function must contain
    std::string out;                         // log page: where the page goes
    std::uint32_t pid = 0;                   // log: the helper's process id, 0 for the newest
    std::uint32_t run = 0;                   // log page: which process of a file, 0 for the last
};

struct Script {
    std::string mark = "nexctl";
    bool markGiven = false;
    std::string service = "nexctl";
    bool serviceGiven = false;
    std::string exe;  // empty: nexlet.exe beside nexctl.exe
    std::optional<std::string> channel;
    std::string mid = "nexctl";
    std::uint32_t channelId = 1;
    std::string type;   // /type: of the helper's command line
    std::string param;  // /param:, an envelope's JSON text
    std::uint32_t timeoutMs = 10000;
    bool noStart = false;
    bool frames = false;  // every frame as a JSON line on standard output
    bool trace = false;   // every frame as a line for people on standard error
    bool hex = false;     // with the bytes of the frame below that line
    std::vector<Step> steps;
};

// Reads the arguments behind the program's name. False with a sentence in problem when they cannot be used.
bool ParseScript(const std::vector<std::string>& arguments, Script& script, std::string& problem);

// The page of one verb, or of the whole program for a null verb.
std::string HelpText(const VerbInfo* verb);
