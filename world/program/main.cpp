// nexlet-world: brings up the stand-in products in a directory and takes them down again. See the help page below.
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "foundation/windows_headers.h"

#include "foundation/text_helpers.h"
#include "tooling/text_file.h"
#include "world/common/script_lines.h"
#include "world/program/request_lines.h"
#include "world/program/world_directory.h"

namespace {

constexpr char kHelp[] =
    "usage: nexlet-world up SCENARIO DIR     bring the world of a scenario up in a directory\n"
    "       nexlet-world down DIR            take it down, so that nothing of it is left\n"
    "       nexlet-world check SCENARIO      read a scenario and look for its files\n"
    "       nexlet-world requests DIR [PART [MS]]\n"
    "                                        what its internet was asked for: the lines with PART\n"
    "                                        in them, the first of which may take so long\n"
    "       nexlet-world --help\n"
    "\n"
    "The directory must be empty or not there; as long as the world is up, all in it is the\n"
    "world's and is removed with it. A journal in it says what else was changed. \"up\" in a directory\n"
    "where a world is up, or where a crash has left one, takes that one down first. Worlds in\n"
    "several directories that change the same registry values go down in reverse order.\n"
    "\n"
    "scenario, a line each; \"#\" begins a comment line, quotation marks hold blanks together,\n"
    "{dir} is the directory:\n"
    "  value PLACE KEY NAME text TEXT      a registry value; PLACE is machine64, machine32 or\n"
    "  value PLACE KEY NAME number N       user, NAME \"\" the key's own\n"
    "  value PLACE KEY NAME bytes HEX      \"number now\" is the time of \"up\" in seconds since\n"
    "                                      1970; \"now\" after the bytes is it as a FILETIME\n"
    "  installed ENTRY [TEXT]              a 64-bit uninstall entry with this UninstallString\n"
    "  logged-in                           the mini-program application's user logged in now\n"
    "  keep PLACE KEY                      the key is restored at the end, whatever was written\n"
    "  file SOURCE TARGET                  a copy of a file below this program's folder\n"
    "  setting TARGET SECTION KEY TEXT     a line of an ini file\n"
    "  process TARGET [ARGUMENTS]          a process of this name: --window CLASS TITLE ...\n"
    "  monitor TARGET [--hang]             the monitor program; what it gets is in notices.txt\n"
    "  internet TARGET                     answers for every host, as the proxy of this user\n"
    "  answer HOST PATH STATUS [after MS] [text TEXT | file TARGET]\n"
    "                                      of the internet; HOST \"*\", PATH with \"*\" at its end\n"
    "  scheme NAME TARGET [TITLE]          a client for URLs NAME:..., which shows this window\n"
    "\n"
    "exit codes:\n"
    "  0  done\n"
    "  1  the command line or the scenario cannot be used; nothing was changed\n"
    "  2  the world could not be brought up; what was done is taken back\n"
    "  3  the world could not be taken down, or none is up there\n"
    "  4  no such request has come\n";

enum ExitCodeOfWorld { kDone = 0, kUnusable = 1, kNotUp = 2, kNotDown = 3, kNoRequest = 4 };

int Fail(const std::string& problem, int code) {
    std::fprintf(stderr, "nexlet-world: %s\n", problem.c_str());
    return code;
}

std::filesystem::path Programs() {
    wchar_t path[32768] = {};
    GetModuleFileNameW(nullptr, path, 32768);
    return std::filesystem::path(path).parent_path();
}

// The sources are looked for as well, so that nothing is begun that cannot end.
bool Load(const std::wstring& file, std::vector<WorldStep>& steps, std::string& problem) {
    const std::string name = Utf16ToUtf8(file);
    std::string text;
    if (!ReadTextFile(name, text)) {
        problem = name + " cannot be read";
        return false;
    }
    if (!ReadWorldScenario(text, steps, problem)) {
        problem = name + ": " + problem;
        return false;
    }
    for (const WorldStep& step : steps) {
        std::error_code error;
        const std::filesystem::path source = Programs() / Utf8ToUtf16(step.strSource);
        if (!step.strSource.empty() && !std::filesystem::is_regular_file(source, error)) {
            problem =
                name + ": line " + std::to_string(step.nLine) + ": " + Utf16ToUtf8(source.wstring()) + " is not there";
            return false;
        }
    }
    return true;
}

int Up(const std::wstring& scenario, const std::filesystem::path& directory) {
    std::vector<WorldStep> steps;
    std::string problem;
    if (!Load(scenario, steps, problem)) {
        return Fail(problem, kUnusable);
    }
    CWorldDirectory world(directory, Programs());
    if (world.IsUp() && !world.Down(problem)) {
        return Fail(problem, kNotDown);
    }
    if (world.Up(steps, problem)) {
        std::printf("up in %s\n", Utf16ToUtf8(directory.wstring()).c_str());
        return kDone;
    }
    std::string left;
    if (world.IsUp() && !world.Down(left)) {
        problem += "; and not all of it could be taken back: " + left;
    }
    return Fail(problem, kNotUp);
}

int Down(const std::filesystem::path& directory) {
    CWorldDirectory world(directory, Programs());
    std::string problem;
    return world.Down(problem) ? kDone : Fail(problem, kNotDown);
}

int Check(const std::wstring& scenario) {
    std::vector<WorldStep> steps;
    std::string problem;
    if (!Load(scenario, steps, problem)) {
        return Fail(problem, kUnusable);
    }
    std::printf("%s can be brought up\n", Utf16ToUtf8(scenario).c_str());
    return kDone;
}

// words: DIR [PART [MS]].
int Requests(const std::filesystem::path& directory, const std::vector<std::wstring>& words) {
    if (!CWorldDirectory(directory, Programs()).IsUp()) {
        return Fail("no world is up in " + Utf16ToUtf8(directory.wstring()), kNotDown);
    }
    const std::string part = words.size() > 1 ? Utf16ToUtf8(words[1]) : std::string();
    const std::optional<std::uint32_t> timeMs = WholeNumber(words.size() > 2 ? Utf16ToUtf8(words[2]) : "0");
    if (!timeMs) {
        return Fail("this is not a number of milliseconds: " + Utf16ToUtf8(words[2]), kUnusable);
    }
    const std::vector<std::string> lines = AwaitRequestLines(directory / L"requests.txt", part, *timeMs);
    for (const std::string& line : lines) {
        std::printf("%s\n", line.c_str());
    }
    return lines.empty() && words.size() > 1 ? kNoRequest : kDone;
}

// The directory as processes name it: absolute, without a backslash at the end.
std::filesystem::path Whole(const std::wstring& directory) {
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(directory, error).lexically_normal();
    return path.has_filename() ? path : path.parent_path();
}

}  // namespace

int wmain(int count, wchar_t** values) {
    const std::vector<std::wstring> words(values + 1, values + count);
    if (words.size() == 1 && (words[0] == L"--help" || words[0] == L"-h" || words[0] == L"help")) {
        std::fputs(kHelp, stdout);
        return kDone;
    }
    if (words.size() == 3 && words[0] == L"up") {
        return Up(words[1], Whole(words[2]));
    }
    if (words.size() == 2 && words[0] == L"down") {
        return Down(Whole(words[1]));
    }
    if (words.size() == 2 && words[0] == L"check") {
        return Check(words[1]);
    }
    if (words.size() >= 2 && words.size() <= 4 && words[0] == L"requests") {
        return Requests(Whole(words[1]), {words.begin() + 1, words.end()});
    }
    return Fail("unknown command; nexlet-world --help shows how it is used", kUnusable);
}
