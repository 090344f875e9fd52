#include "world/program/world_scenario.h"

#include <algorithm>
#include <array>

#include "nexctl/frame_text.h"
#include "world/common/script_lines.h"

namespace {

using Kind = WorldStep::Kind;

constexpr std::array<const char*, 3> kPlaces = {"machine64", "machine32", "user"};
constexpr char kUninstall[] = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr std::string_view kDirectoryMark = "{dir}";

// The next word, or what stands between quotation marks. False when there is none.
bool TakeName(std::string_view& rest, std::string& name) {
    if (!rest.starts_with('"')) {
        name = TakeWord(rest);
        return !name.empty();
    }
    const std::size_t end = rest.find('"', 1);
    if (end == std::string_view::npos) {
        return false;
    }
    name = rest.substr(1, end - 1);
    rest.remove_prefix(end + 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
    return true;
}

// A path below a folder: relative, and never up.
bool TakePath(std::string_view& rest, std::string& path) {
    if (!TakeName(rest, path)) {
        return false;
    }
    std::ranges::replace(path, '/', '\\');
    if (path.empty() || path.front() == '\\' || path.find_first_of(":\"*?<>|") != std::string::npos) {
        return false;
    }
    for (std::string_view left = path; !left.empty();) {
        const std::size_t end = std::min(left.find('\\'), left.size());
        const std::string_view part = left.substr(0, end);
        // Windows takes dots and blanks off the end of a name, so "..." climbs as well.
        if (part.empty() || part.back() == '.' || part.back() == ' ') {
            return false;
        }
        left.remove_prefix(std::min(end + 1, left.size()));
    }
    return path.back() != '\\';
}

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
        const std::optional<std::uint32_t> number = WholeNumber(data);
        step.nNumber = number.value_or(0);
        return number ? std::string() : "this is no number from 0 to 4294967295: " + std::string(data);
    }
    if (type == "bytes") {
        step.nType = kRegistryBytes;
        return ParseHex(data, step.strText) ? std::string() : "these are no hexadecimal digits in pairs";
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

struct Word {
    std::string_view name;
    std::string (*take)(std::string_view rest, WorldStep& step);
};
constexpr std::array<Word, 7> kWords = {{{"value", &TakeValue},
                                         {"installed", &TakeInstalled},
                                         {"keep", &TakeKeep},
                                         {"file", &TakeFile},
                                         {"setting", &TakeSetting},
                                         {"process", &TakeProcess},
                                         {"monitor", &TakeMonitor}}};

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
        if (!wrong.empty()) {
            problem = LineProblem(line, wrong);
            return false;
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
