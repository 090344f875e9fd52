#include "world/program/world_scenario.h"

#include <algorithm>
#include <array>

#include "tooling/frame_text.h"
#include "world/common/script_lines.h"
#include "world/internet/told_answers.h"

namespace {

using Kind = WorldStep::Kind;

constexpr std::array<const char*, 3> kPlaces = {"machine64", "machine32", "user"};
constexpr char kUninstall[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr char kClasses[] = "SOFTWARE\\Classes\\";
constexpr char kLoginMarkKey[] = "SOFTWARE\\Classes\\WdTsIndexStore.1";
constexpr std::string_view kScheme = "scheme";
constexpr std::string_view kNow = "now";
constexpr std::string_view kDirectoryMark = "{dir}";

bool TakeKey(std::string_view& rest, WorldStep& step) {
    std::string place;
    if (!TakeName(rest, place)) {
        return false;
    }
    const std::optional<RegistryPlace> found = RegistryPlaceOf(place);
    step.place = found.value_or(RegistryPlace::User);
    return found && TakeName(rest, step.strKey) && !step.strKey.empty() && step.strKey.front() != '\\' &&
           step.strKey.back() != '\\' && step.strKey.find("\\\\") == std::string::npos;
}

std::string TakeData(std::string_view type, std::string_view data, WorldStep& step) {
    if (type == "text") {
        step.nType = kRegistryText;
        step.strText = data;
        return {};
    }
    if (type == "number") {
        step.nType = kRegistryNumber;
        step.bNow = data == kNow;
        if (step.bNow) {
            return {};
        }
        const std::optional<std::uint32_t> number = WholeNumber(data);
        step.nNumber = number.value_or(0);
        return number ? std::string() : "this is not a number from 0 to 4294967295: " + std::string(data);
    }
    if (type == "bytes") {
        step.nType = kRegistryBytes;
        // No pair of digits has these letters.
        step.bNow = data.ends_with(kNow);
        data.remove_suffix(step.bNow ? kNow.size() : 0);
        return ParseHex(data, step.strText) ? std::string() : "these are not pairs of hexadecimal digits";
    }
    return "a value is \"text\", \"number\" or \"bytes\", not \"" + std::string(type) + "\"";
}

std::string TakeValue(std::string_view rest, WorldStep& step) {
    if (!TakeKey(rest, step) || !TakeName(rest, step.strName)) {
        return "\"value\" needs machine64, machine32 or user, a key, a name, a type and the data";
    }
    const std::string_view type = TakeWord(rest);
    return TakeData(type, rest, step);
}

// The uninstall entry of a product, as its installer leaves it.
std::string TakeInstalled(std::string_view rest, WorldStep& step) {
    std::string entry;
    if (!TakeName(rest, entry) || entry.empty() || entry.find('\\') != std::string::npos) {
        return "\"installed\" needs the name of an uninstall entry";
    }
    step.place = RegistryPlace::Machine64;
    step.strKey = kUninstall + entry;
    step.strName = "UninstallString";
    step.nType = kRegistryText;
    step.strText = rest.empty() ? "{dir}\\" + entry + "\\uninstall.exe" : std::string(rest);
    return {};
}

// The mark of a login, as the mini-program application leaves it: a state that is not 0, and the time.
std::string TakeLoggedIn(std::string_view rest, WorldStep& step) {
    step.place = RegistryPlace::User;
    step.strKey = kLoginMarkKey;
    step.strName = "wxl_state";
    const std::string wrong = TakeData("bytes", "01000000 now", step);
    return rest.empty() ? wrong : "\"logged-in\" has nothing after it";
}

std::string TakeKeep(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Keep;
    return TakeKey(rest, step) && rest.empty() ? std::string()
                                               : "\"keep\" needs machine64, machine32 or user, and a key";
}

std::string TakeFile(std::string_view rest, WorldStep& step) {
    step.kind = Kind::File;
    return TakePath(rest, step.strSource) && TakePath(rest, step.strTarget) && rest.empty()
               ? std::string()
               : "\"file\" needs a file below the program's folder and its path below the directory";
}

std::string TakeSetting(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Setting;
    if (!TakePath(rest, step.strTarget) || !TakeName(rest, step.strName) || !TakeName(rest, step.strKey) ||
        step.strName.empty() || step.strKey.empty()) {
        return "\"setting\" needs an ini file below the directory, a section, a key and a text";
    }
    step.strText = rest;
    return {};
}

std::string TakeProcess(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Process;
    step.strSource = "world\\stand_in.exe";
    step.strText.clear();
    const bool taken = TakePath(rest, step.strTarget);
    step.strText = rest;
    return taken ? std::string() : "\"process\" needs a program's path below the directory";
}

std::string TakeMonitor(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Process;
    step.strSource = "world\\monitor.exe";
    if (!TakePath(rest, step.strTarget) || (!rest.empty() && rest != "--hang")) {
        return "\"monitor\" needs a program's path below the directory, and \"--hang\" or nothing";
    }
    step.strText = "--out \"{dir}\\notices.txt\" " + std::string(rest);
    return {};
}

std::string TakeInternet(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Internet;
    step.strSource = "world\\internet.exe";
    step.strText = "--dir \"{dir}\"";
    return TakePath(rest, step.strTarget) && rest.empty() ? std::string()
                                                          : "\"internet\" needs a program's path below the directory";
}

std::string TakeAnswer(std::string_view rest, WorldStep& step) {
    step.kind = Kind::Answer;
    step.strText = "answer " + std::string(rest);
    ToldAnswer answer;
    return ReadAnswer(rest, answer);
}

// The input of AddSchemeSteps: name and title are in members that a copy does not need.
std::string TakeScheme(std::string_view rest, WorldStep& step) {
    step.kind = Kind::File;
    step.strSource = "world\\WeChat.exe";
    const bool taken = TakeName(rest, step.strName) && step.strName.find_first_of("\\:/") == std::string::npos &&
                       TakePath(rest, step.strTarget);
    step.strText = rest;
    return taken ? std::string() : "\"scheme\" needs the scheme's name and a program's path below the directory";
}

// Writes scheme and window title into the settings of the stand-in client, and registers the scheme for it.
void AddSchemeSteps(std::vector<WorldStep>& steps) {
    const WorldStep copy = steps.back();
    steps.back().strName.clear();
    steps.back().strText.clear();

    WorldStep setting = {.kind = Kind::Setting, .nLine = copy.nLine, .strKey = "scheme", .strName = "wechat"};
    setting.strText = copy.strName;
    setting.strTarget = copy.strTarget.substr(0, copy.strTarget.find_last_of('\\') + 1) + "wechat.ini";
    steps.push_back(setting);
    if (!copy.strText.empty()) {
        setting.strKey = "title";
        setting.strText = copy.strText;
        steps.push_back(setting);
    }
    WorldStep value = {.nLine = copy.nLine, .place = RegistryPlace::Machine64, .nType = kRegistryText};
    value.strKey = kClasses + copy.strName;
    value.strText = "URL:" + copy.strName;
    steps.push_back(value);
    value.strName = "URL Protocol";
    value.strText.clear();
    steps.push_back(value);
    value.strKey += "\\shell\\open\\command";
    value.strName.clear();
    value.strText = "\"{dir}\\" + copy.strTarget + "\" open \"%1\"";
    steps.push_back(value);
}

struct Word {
    std::string_view name;
    std::string (*take)(std::string_view rest, WorldStep& step);
};
constexpr std::array<Word, 11> kWords = {{{"value", &TakeValue},
                                          {"installed", &TakeInstalled},
                                          {"logged-in", &TakeLoggedIn},
                                          {"keep", &TakeKeep},
                                          {"file", &TakeFile},
                                          {"setting", &TakeSetting},
                                          {"process", &TakeProcess},
                                          {"monitor", &TakeMonitor},
                                          {"internet", &TakeInternet},
                                          {"answer", &TakeAnswer},
                                          {kScheme, &TakeScheme}}};

}  // namespace

const char* RegistryPlaceName(RegistryPlace place) {
    return kPlaces.at(static_cast<std::size_t>(place));
}

std::optional<RegistryPlace> RegistryPlaceOf(std::string_view name) {
    const auto* const found = std::ranges::find(kPlaces, name);
    return found == kPlaces.end() ? std::nullopt : std::optional(static_cast<RegistryPlace>(found - kPlaces.begin()));
}

bool ReadWorldScenario(std::string_view text, std::vector<WorldStep>& steps, std::string& problem) {
    steps.clear();
    for (const ScriptLine& line : ReadScriptLines(text)) {
        std::string_view rest = line.strText;
        const std::string_view word = TakeWord(rest);
        const auto* const found = std::ranges::find(kWords, word, &Word::name);
        WorldStep& step = steps.emplace_back();
        step.nLine = line.nNumber;
        std::string wrong;
        if (line.strText.find('\0') != std::string::npos) {
            wrong = "there is a zero byte";
        } else if (found == kWords.end()) {
            wrong = "nothing is called \"" + std::string(word) + "\"";
        } else {
            wrong = found->take(rest, step);
        }
        if (wrong.empty() && step.kind == Kind::Internet &&
            std::ranges::count(steps, Kind::Internet, &WorldStep::kind) > 1) {
            wrong = "there is one internet in a world";
        }
        if (!wrong.empty()) {
            problem = LineProblem(line, wrong);
            return false;
        }
        if (word == kScheme) {
            AddSchemeSteps(steps);
        }
    }
    return true;
}

std::string WithDirectory(std::string_view text, std::string_view directory) {
    std::string whole;
    for (;;) {
        const std::size_t at = text.find(kDirectoryMark);
        whole += text.substr(0, at);
        if (at == std::string_view::npos) {
            return whole;
        }
        whole += directory;
        text.remove_prefix(at + kDirectoryMark.size());
    }
}
