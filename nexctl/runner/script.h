// A command line of nexctl: options and the steps to take, in order.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What has to be there before a verb can run.
enum class VerbNeed { Nothing, Connection };

// A verb, what follows it and what it needs.
struct VerbInfo {
    const char* name;
    const char* arguments;  // as help shows them
    std::size_t count;      // how many there are
    const char* summary;
    const char* details;  // paragraphs for "nexctl help VERB"
    VerbNeed need = VerbNeed::Nothing;
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
    std::string out;                         // log page, bundle, conformance: where the file is written
    std::vector<std::uint32_t> pids;         // log: the processes, none for the newest log that fits
    std::uint64_t sinceMs = 0;               // log: only logs written in this span, 0 for any
    std::uint64_t olderMs = 0;               // log prune: logs written before this span, 0 for none
    std::uint64_t largerBytes = 0;           // log prune: logs of more bytes, 0 for none
    bool text = false;                       // lines for people
    bool json = false;                       // conformance: JSON lines
    bool wait = false;                       // stop: until the process has ended and its file is free
    bool dryRun = false;                     // log prune: only list
    bool yes = false;                        // clean: remove
    bool withContents = false;               // bundle: contents of requests as they are
    std::string only;                        // conformance: the beginning of the names of the rules to play
    std::string world;                       // conformance: a folder that nexlet-world has brought up
    bool force = false;                      // record: also over a file that is there
    bool summary = false;                    // doctor: one short line
    std::uint32_t run = 0;                   // log page: which process of a file, 0 for the last
};

struct Script {
    std::string mark = "nexctl";
    bool markGiven = false;
    std::string service;  // empty: the library chooses one of this run alone
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

// Reads the arguments after the program's name. False with a sentence in problem when they cannot be used.
bool ParseScript(const std::vector<std::string>& arguments, Script& script, std::string& problem);

// The known name that text is most like, when it is a slip of at most two letters; empty otherwise.
std::string DidYouMean(std::string_view text, const std::vector<std::string_view>& names);

// The page of one verb, or of the whole program for a null verb.
std::string HelpText(const VerbInfo* verb);
