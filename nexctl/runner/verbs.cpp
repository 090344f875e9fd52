#include <algorithm>

#include "nexctl/runner/script.h"

namespace {

constexpr char kJsonNote[] =
    "JSON on the command line, with {\"a\":1} as an example:\n"
    "  Unix shell                 '{\"a\":1}'\n"
    "  cmd                        \"{\\\"a\\\":1}\"\n"
    "  PowerShell up to 7.2       '{\\\"a\\\":1}'\n"
    "  PowerShell 7.3 and later   '{\"a\":1}'\n"
    "In every shell it may be @FILE to read it from a file ('@FILE' in PowerShell), or - to read it from standard\n"
    "input. Such input is UTF-8, or UTF-16 with its mark, as \">\" of PowerShell writes it.\n";

}  // namespace

const std::vector<VerbInfo>& AllVerbs() {
    static const std::vector<VerbInfo> verbs = {
        {"start", "", 0, "serve the pipe, start the helper, wait for its ready notice (12)",
         "Serves the caller's pipe and gate of --mark and --service, starts --exe with /from:, /channel: and\n"
         "/service_id:, and waits until the helper has connected and sent the notice of type 12. A helper of this\n"
         "mark that runs already is handed the command line and connects instead.\n"
         "Every other verb that talks to the helper does this first by itself. When a verb fails the ones after it\n"
         "are left out, but for exit.\n",
         VerbNeed::Connection},
        {"open", "JSON", 1, "open a target: request 6, reply 17",
         "JSON is the app-open object, sent as p1, for example\n"
         "  {\"type\":\"miniApp\",\"appId\":\"wx1\",\"appPath\":\"index\",\"taskId\":\"t1\",\"from\":\"me\"}\n"
         "The reply's result is the outcome: \"1\" and \"Loading\" end with 0, every other word with 5.\n"
         "A value of a kind that would end the helper is not sent, and that ends with 1; send 6 sends it.\n",
         VerbNeed::Connection},
        {"poll", "JSON", 1, "ask how an open has ended: request 7, reply 13",
         "JSON is the object with type, taskId, from and wndname, sent as a text under p1.\n"
         "  --until WORD   ask again while the result is \"Loading\", until it is WORD\n"
         "  --every MS     the pause between two asks (500)\n"
         "Without --until one ask is made. \"1\" and \"Loading\" end with 0, every other word with 5; with --until\n"
         "only WORD ends with 0, and still \"Loading\" at the end of --timeout with 3.\n"
         "A value of a kind that would end the helper is not sent, and that ends with 1; send 7 sends it.\n",
         VerbNeed::Connection},
        {"watch", "JSON", 1, "have the helper ask by itself and fetch statistics: request 8, no reply",
         "JSON is the object with interval, successLog, errorLog and the keys of poll, sent as a text under p1.\n"
         "A value of a kind that would end the helper, or a negative interval, which keeps it for ever, is not sent;\n"
         "that ends with 1. send 8 sends it.\n",
         VerbNeed::Connection},
        {"status", "", 0, "what is installed and logged in: request 2, reply 13", "", VerbNeed::Connection},
        {"status-encrypted", "", 0, "the same under the RSA envelope: request 3, reply 14",
         "An empty result, when the envelope could not be made, ends with 5.\n", VerbNeed::Connection},
        {"qimei", "", 0, "the device identity pair: request 4, reply 15", "Two empty texts end with 5.\n",
         VerbNeed::Connection},
        {"encrypt", "TEXT", 1, "put a text under the RSA envelope: request 5, reply 16",
         "An empty result, when the envelope could not be made, ends with 5.\n", VerbNeed::Connection},
        {"decrypt", "KEY ENVELOPE", 2, "open an envelope that encrypt or status-encrypted gave; needs no helper",
         "KEY is the text of the private key in PEM form, usually @FILE; ENVELOPE may be @FILE or - as well.\n"
         "The text inside is printed with a line end. What cannot be opened ends with 5.\n"},
        {"send", "TYPE JSON", 2, "send any type with any content",
         "Waits for the reply type that belongs to TYPE, when there is one, and ends with 0 whatever it says.\n"
         "  --expect N     wait for a frame of type N instead; 0 waits for none\n",
         VerbNeed::Connection},
        {"listen", "", 0, "print every frame as it comes",
         "  --count N      stop after N frames (no limit)\n"
         "Ends with 0 after N frames or at the end of --timeout, and with 4 when the helper is gone.\n",
         VerbNeed::Connection},
        {"exit", "", 0, "ask the helper to let this service go: request 9",
         "Waits until the helper has let the connection go, and, when it was started from here and serves nobody\n"
         "else, until its process has ended. The helper takes its delay (2 seconds) and up to 10 seconds more.\n",
         VerbNeed::Connection},
        {"host", "TYPE BODY", 2, "send a message on the host's own pipe of --mark; starts nothing",
         "For type 1 BODY is a command line, and the acknowledgement \"1\" is waited for. For every other type BODY\n"
         "is the content, JSON; what it names under service_id gets an instance of its own.\n"
         "  --expect 0     do not wait for the acknowledgement\n"},
        {"record", "NEWFILE", 1, "write what the verbs after it exchange to a file",
         "Stands before the verbs that are to be recorded, and takes the ready notice in when the helper has not been\n"
         "started yet:\n"
         "  nexctl record open.exchange open @open.json poll @poll.json --until 1 exit\n"
         "Of several polls in a row that were answered \"Loading\" the last is kept. A file that cannot be written "
         "ends\n"
         "with 2. A file that is there is not overwritten, and nothing is done; that ends with 1.\n"
         "  --force        overwrite it\n"},
        {"replay", "FILE", 1, "play the caller's half of a recorded exchange, compare the helper's",
         "Starts the helper and sends each of the caller's frames unchanged; mark and service id are those of the\n"
         "file unless --mark and --service say otherwise. What the file marks under \"any\" is not compared. A poll "
         "is\n"
         "sent again while its answer is \"Loading\" and the file says something else.\n"
         "  --every MS     the pause between two such polls (500)\n"
         "Differences stand in the output and end with 5; a frame that does not come ends with 3. After an exit "
         "the\n"
         "end of the connection is waited for (30000); when it does not come in time, \"released\" is false and the\n"
         "comparison counts all the same.\n"},
        {"show", "FILE", 1, "print a recorded exchange for people, with the bytes of every frame; needs no helper", ""},
        {"doctor", "", 0, "what there is of the helper of --mark and --service, what is wrong, what to do",
         "Prints mutex, pipes and events and who holds them, the helpers that run, the registry values that a helper\n"
         "reads, the files of its libraries with version and signer, the log, the remote configuration and its age.\n"
         "Under \"findings\" and on standard error is what is wrong, or worth knowing, and what to do about it.\n"
         "Starts nothing and connects to nothing. The libraries are those of the helper that runs, else those beside\n"
         "nexctl, or those of --exe. Without --service the service is that of this run or of the helper that runs.\n"
         "Something wrong ends with 5.\n"
         "  --summary      one short line for monitoring: how much is wrong, and the codes of all findings\n"},
        {"log", "WHAT", 1, "the helper's log: on, off, status, show, follow, page, prune; needs no helper",
         "  log on         later starts of the helper write a log; off: they do not. A running one is what it was\n"
         "                 started as. A log holds requests and replies in full\n"
         "  log status     the switch, the folder and the files there, newest first, each with mark, services, first\n"
         "                 and last line and how it ended\n"
         "  log show       every line as a JSON line\n"
         "  log follow     the same, and continues until the process or --timeout ends\n"
         "  log page       one HTML page with a timeline: lanes, requests, beacons, timers, and every line\n"
         "  log prune      removes the logs that --older or --larger names, and their pages. The log of a process "
         "that\n"
         "                 runs is kept; what cannot be removed ends with 2\n"
         "The log is the latest written one of those that fit --mark and --service, where they are given, and\n"
         "  --pid N        the log of this process; more than once for several logs on one page\n"
         "  --since SPAN   written in the last 90s, 15m, 2h or 7d\n"
         "  --file PATH    this log and no other\n"
         "Standard error says which one was taken.\n"
         "  --function T   only lines whose function contains T, in any case\n"
         "  --text         lines for people instead of JSON (show)\n"
         "  --count N      stop after N lines (follow)\n"
         "  --out PATH     the file of the page (the log's path and .html)\n"
         "  --older SPAN   logs that were not written to for so long (prune)\n"
         "  --larger SIZE  logs of more than 200KB, 50MB or 1GB (prune)\n"
         "  --dry-run      only say what would be removed (prune)\n"
         "  --run N        which process, when a reused process id has continued a file (the last)\n"
         "A log that is not there ends with 4.\n"},
        {"helpers", "", 0, "the helpers that run: mark, version, services, age, log",
         "Of every mark, or of --mark alone where that is given; of the program name nexlet.exe, or that of --exe. A\n"
         "service is \"connected\" while the helper has its caller's pipe open. \"serves\" is false for a second "
         "start,\n"
         "which hands its command line over and ends. Nothing is connected to.\n"
         "  --text         a table for people instead of JSON\n"},
        {"stop", "", 0, "ask the helper of --mark to let every service go",
         "Sends type 9 for each of its services on the host's pipe. Callers that are connected lose their service. "
         "The\n"
         "helper takes 2 seconds and up to 10 more, and ends when nobody is left; with a mark that contains ml up to\n"
         "660 seconds. Without a helper of this mark nothing is done, and that ends with 0.\n"
         "  --wait         wait until its process has ended and its file can be replaced; --timeout (30000) is the\n"
         "                 limit. What still holds it then is told, and ends with 3\n"},
        {"clean", "", 0, "list or remove what helpers leave: registry values, caches, logs, shortcuts",
         "Of this user, whatever the mark. Lists alone, unless told otherwise:\n"
         "  --yes          remove all of it but the logs of processes that run. What cannot be removed ends with 2\n"
         "Values of other programs in the same keys stay, and so do keys and folders that are not empty then.\n"},
        {"bundle", "", 0, "put what somebody needs who is to help into a zip: doctor, versions, registry, logs",
         "  --out FILE     the archive; needed\n"
         "The doctor's findings, the helpers that run and their pipes, versions and SHA-256 of the program and the "
         "SDK\n"
         "files, the values in the registry, and the newest three logs of --mark (or those of --pid), each as text "
         "and\n"
         "as a page. Standard error says what was taken and what was not.\n"
         "Contents of requests, identities, machine ids and the names of users in paths are masked.\n"
         "  --with-contents  take them as they are\n"},
        {"beacons", "FILE", 1, "a statistics server's access log, counted by beacon and outcome; needs no helper",
         "FILE is an access log with the request line in quotation marks, or the requests that nexlet-world shows.\n"
         "  --text         for people instead of JSON\n"},
        {"conformance", "", 0, "play every rule of the wire against the program of --exe",
         "Starts the program under marks of its own, and ends what it has started. A line for each rule: kept, "
         "broken,\n"
         "or left out, with what came instead. A broken rule ends with 5.\n"
         "  --json         a JSON line for each rule instead\n"
         "  --only TEXT    only the rules whose names begin so, for example \"silence.\"\n"
         "  --out PATH     an HTML page as well\n"
         "  --world DIR    has an SDK that answers, as nexlet-world brings it up: plays what needs one. The\n"
         "                 program is DIR\\app\\bin\\nexlet.exe unless --exe names another\n"},
        {"names", "", 0, "print the names of pipes and events for --mark and --service", ""},
        {"encode", "TYPE JSON", 2, "print the frame of a message as hexadecimal bytes", ""},
        {"decode", "HEX", 1, "print the frames in hexadecimal bytes as JSON lines",
         "Blanks and line ends between the digits are skipped. Bytes that are not a whole frame end with 5.\n"},
        {"demo", "", 0, "a whole exchange: start, open, poll until \"1\", exit",
         "Needs the helper with an SDK beside it that answers; tools/demo prepares both.\n"},
        {"help", "", 0, "this page, or the page of the verb before it", ""},
    };
    return verbs;
}

const VerbInfo* FindVerb(std::string_view name) {
    const auto& verbs = AllVerbs();
    const auto found = std::find_if(verbs.begin(), verbs.end(), [&](const VerbInfo& one) { return one.name == name; });
    return found == verbs.end() ? nullptr : &*found;
}

std::string HelpText(const VerbInfo* verb) {
    if (verb != nullptr) {
        std::string text = "usage: nexctl " + std::string(verb->name);
        if (*verb->arguments != 0) {
            text += " " + std::string(verb->arguments);
        }
        text += " [options]\n\n" + std::string(verb->summary) + "\n";
        if (*verb->details != 0) {
            text += "\n" + std::string(verb->details);
        }
        if (std::string_view(verb->arguments).find("JSON") != std::string_view::npos) {
            text += "\n" + std::string(kJsonNote);
        }
        return text + "\nOptions, output and exit codes: nexctl --help\n";
    }
    std::string text =
        "usage: nexctl VERB [ARGUMENTS] [options] [VERB [ARGUMENTS] [options] ...]\n"
        "\n"
        "The caller's side of the helper, from a console. Verbs are taken in order, in one process, on one pipe:\n"
        "  nexctl start --mark demo open @open.json poll @poll.json --until 1 exit\n"
        "The first verb that needs the helper starts it. When nexctl ends its pipe goes too; a helper that was not\n"
        "asked to exit notices that within a minute and ends by itself.\n"
        "\n"
        "verbs:\n";
    for (const VerbInfo& one : AllVerbs()) {
        std::string usage = "  " + std::string(one.name) + " " + one.arguments;
        usage.resize(std::max<std::size_t>(usage.size() + 1, 24), ' ');
        text += usage + one.summary + "\n";
    }
    text +=
        "\n"
        "options for the whole run:\n"
        "  --exe PATH         the helper (nexlet.exe beside nexctl.exe); standard error tells when it is not used\n"
        "  --mark TEXT        mark of the product, /from: (nexctl)\n"
        "  --service TEXT     service id, /service_id: (one of this run alone; names: nexctl)\n"
        "  --channel JSON     channel text, /channel:; replaces the two below\n"
        "  --mid TEXT         mid of the channel text (nexctl)\n"
        "  --channel-id N     channel_id of the channel text (1)\n"
        "  --type TEXT        /type: of the helper's command line (none)\n"
        "  --param JSON       /param: of the helper's command line, an envelope (none)\n"
        "  --no-start         start nothing; wait until a helper connects\n"
        "  --frames           print every frame as a JSON line on standard output\n"
        "  --trace            print every frame for people on standard error\n"
        "  --hex              print the bytes of each frame below its line of --trace or demo\n"
        "  --version          print the version of nexctl and end\n"
        "\n"
        "before the first verb for all, after a verb for that one:\n"
        "  --timeout MS       limit of every wait (10000; exit 30000)\n"
        "\n"
        "output: one JSON line a verb on standard output, {\"outcome\":...,\"reply\":...,\"step\":...}; words for "
        "people\n"
        "on standard error.\n"
        "\n"
        "exit codes:\n"
        "  0  everything was done\n"
        "  1  the command line, or a file that it names, cannot be used\n"
        "  2  the pipe could not be served, the helper not started, or a file not written\n"
        "  3  nothing came in time; the helper refuses a request by staying silent\n"
        "  4  the helper is gone, or the log that was asked for is not there\n"
        "  5  the answer came and says that it did not work, a replay differs, or the doctor found something wrong\n"
        "\n";
    return text + kJsonNote;
}
