#include "world/program/world_directory.h"

#include <ctime>
#include <ranges>
#include <system_error>

#include "foundation/text_helpers.h"
#include "tooling/text_file.h"
#include "world/common/script_lines.h"
#include "world/program/held_files.h"
#include "world/program/proxy_setting.h"
#include "world/program/registry_tree.h"
#include "world/program/world_processes.h"

namespace {

namespace fs = std::filesystem;

// How long a file may be held by another program before "down" gives up.
constexpr std::uint32_t kHeldMs = 5000;
constexpr wchar_t kJournalName[] = L".nexlet-world";

std::string Utf8(const fs::path& path) {
    return Utf16ToUtf8(path.wstring());
}

std::string SystemError() {
    return "system error " + std::to_string(GetLastError());
}

// The bytes of a file time, and the seconds since 1970.
std::string FileTimeNow() {
    FILETIME now = {};
    GetSystemTimeAsFileTime(&now);
    return {reinterpret_cast<const char*>(&now), sizeof now};
}

std::uint32_t SecondsNow() {
    return static_cast<std::uint32_t>(std::time(nullptr));
}

}  // namespace

CWorldDirectory::CWorldDirectory(fs::path directory, fs::path programs)
    : m_directory(std::move(directory)), m_programs(std::move(programs)) {}

fs::path CWorldDirectory::JournalPath() const {
    return m_directory / kJournalName;
}

bool CWorldDirectory::IsUp() const {
    std::error_code error;
    return fs::exists(JournalPath(), error);
}

std::string CWorldDirectory::Filled(const std::string& text) const {
    return WithDirectory(text, Utf8(m_directory));
}

bool CWorldDirectory::Begin(std::string& problem) {
    std::error_code error;
    const bool made = fs::create_directories(m_directory, error);
    if (error || !fs::is_empty(m_directory, error) || error) {
        problem = Utf8(m_directory) + " is not an empty directory, and none can be made there";
        return false;
    }
    m_hJournal.reset(
        CreateFileW(JournalPath().c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr));
    if (!m_hJournal || (made && !Write({.kind = JournalEntry::Kind::Folder}))) {
        problem = Utf8(JournalPath()) + " cannot be written, " + SystemError();
        return false;
    }
    return true;
}

bool CWorldDirectory::Write(const JournalEntry& entry) {
    const std::string line = JournalLine(entry);
    DWORD written = 0;
    return WriteFile(m_hJournal.get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr) != FALSE &&
           written == line.size() && FlushFileBuffers(m_hJournal.get()) != FALSE;
}

bool CWorldDirectory::Up(const std::vector<WorldStep>& steps, std::string& problem) {
    if (!Begin(problem)) {
        return false;
    }
    for (const WorldStep& step : steps) {
        if (const std::string wrong = Take(step); !wrong.empty()) {
            problem = "line " + std::to_string(step.nLine) + ": " + wrong;
            m_hJournal.reset();
            return false;
        }
    }
    m_hJournal.reset();
    return true;
}

std::string CWorldDirectory::Take(const WorldStep& step) {
    switch (step.kind) {
        case WorldStep::Kind::Value:
            return TakeValue(step);
        case WorldStep::Kind::Keep: {
            JournalEntry entry;
            return RememberKey(step.place, step.strKey, entry) && Write(entry)
                       ? std::string()
                       : "the key could not be read, or the journal not written";
        }
        case WorldStep::Kind::File:
            return Copy(step);
        case WorldStep::Kind::Setting:
            return TakeSetting(step);
        case WorldStep::Kind::Process:
            return TakeProcess(step);
        case WorldStep::Kind::Internet:
            return TakeInternet(step);
        case WorldStep::Kind::Answer:
            return TakeAnswer(step);
    }
    return {};
}

std::string CWorldDirectory::TakeValue(const WorldStep& step) {
    JournalEntry entry;
    if (!RememberValue(step.place, step.strKey, step.strName, entry) || !Write(entry)) {
        return "the value could not be read, or the journal not written";
    }
    RegistryData data = {step.strName, step.nType, step.strText};
    if (step.nType == kRegistryText) {
        data.strBytes = RegistryTextBytes(Filled(step.strText));
    } else if (step.nType == kRegistryNumber) {
        const std::uint32_t number = step.bNow ? SecondsNow() : step.nNumber;
        data.strBytes.assign(reinterpret_cast<const char*>(&number), sizeof number);
    } else if (step.bNow) {
        data.strBytes += FileTimeNow();
    }
    return SetRegistryValue(step.place, step.strKey, data) ? std::string() : "the value could not be written";
}

std::string CWorldDirectory::Copy(const WorldStep& step) const {
    const fs::path source = m_programs / Utf8ToUtf16(step.strSource);
    const fs::path target = m_directory / Utf8ToUtf16(step.strTarget);
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    if (CopyFileW(source.c_str(), target.c_str(), TRUE) == FALSE) {
        return Utf8(source) + " could not be copied to " + Utf8(target) + ", " + SystemError();
    }
    return {};
}

std::string CWorldDirectory::TakeSetting(const WorldStep& step) {
    const fs::path file = m_directory / Utf8ToUtf16(step.strTarget);
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (!fs::exists(file, error)) {
        // With this mark the file is UTF-16, so that every text fits.
        WriteTextFile(Utf8(file), "\xFF\xFE");
    }
    return WritePrivateProfileStringW(Utf8ToUtf16(step.strName).c_str(), Utf8ToUtf16(step.strKey).c_str(),
                                      Utf8ToUtf16(Filled(step.strText)).c_str(), file.c_str()) != FALSE
               ? std::string()
               : Utf8(file) + " could not be written, " + SystemError();
}

std::string CWorldDirectory::TakeProcess(const WorldStep& step) {
    const fs::path program = m_directory / Utf8ToUtf16(step.strTarget);
    std::error_code error;
    // Several processes may be of one program.
    if (!fs::exists(program, error)) {
        if (std::string wrong = Copy(step); !wrong.empty()) {
            return wrong;
        }
    }
    const std::string wrong = StartWorldProcess(program, Utf8ToUtf16(Filled(step.strText)),
                                                [this](const JournalEntry& entry) { return Write(entry); });
    return wrong.empty() ? wrong : Utf8(program) + ": " + wrong;
}

std::string CWorldDirectory::TakeInternet(const WorldStep& step) {
    if (std::string wrong = TakeProcess(step); !wrong.empty()) {
        return wrong;
    }
    std::string port;
    ReadTextFile(Utf8(m_directory / L"internet_port.txt"), port);
    std::string_view digits = port;
    const std::optional<std::uint32_t> number = WholeNumber(digits.substr(0, digits.find('\n')));
    for (const auto& [key, name] : UserProxyValues()) {
        JournalEntry entry;
        if (!RememberValue(RegistryPlace::User, key, name, entry) || !Write(entry)) {
            return "the user's proxy could not be read, or the journal not written";
        }
    }
    return number && SetUserProxy(*number) ? std::string() : "the user's proxy could not be set";
}

std::string CWorldDirectory::TakeAnswer(const WorldStep& step) const {
    const std::string file = Utf8(m_directory / L"answers.txt");
    std::string text;
    ReadTextFile(file, text);
    return WriteTextFile(file, text + Filled(step.strText) + "\n") ? std::string() : file + " could not be written";
}

bool CWorldDirectory::Down(std::string& problem) {
    std::string text;
    std::vector<JournalEntry> entries;
    if (!ReadTextFile(Utf8(JournalPath()), text)) {
        problem = "no world is up in " + Utf8(m_directory);
        return false;
    }
    if (!ReadJournal(text, entries, problem)) {
        problem = Utf8(JournalPath()) + ": " + problem;
        return false;
    }
    // Processes first, so that nothing writes to the registry any more.
    bool ended = true;
    for (const JournalEntry& entry : entries | std::views::reverse) {
        ended = (entry.kind != JournalEntry::Kind::Process || EndWorldProcess(entry)) && ended;
    }
    if (!EndProcessesBelow(m_directory) || !ended) {
        problem = "a process of " + Utf8(m_directory) + " could not be ended";
        return false;
    }
    bool made = false;
    bool proxy = false;
    for (const JournalEntry& entry : entries | std::views::reverse) {
        made = made || entry.kind == JournalEntry::Kind::Folder;
        proxy = proxy || (entry.kind == JournalEntry::Kind::Value && entry.strKey == kInternetSettings);
        const bool registry = entry.kind == JournalEntry::Kind::Value || entry.kind == JournalEntry::Kind::Keep;
        if (registry && !RestoreRegistry(entry)) {
            problem = std::string(RegistryPlaceName(entry.place)) + " " + entry.strKey + " could not be restored";
            return false;
        }
    }
    if (proxy) {
        AnnounceUserProxy();
    }
    // The journal is removed last: as long as something is left, it says what belongs to the world.
    std::error_code error;
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(m_directory, error)) {
        if (entry.path().filename() != kJournalName) {
            files.push_back(entry.path());
        }
    }
    if (const std::string held = RemoveHeldFiles(files, kHeldMs); !held.empty()) {
        problem = held + "; everything else is taken down, \"down\" once more removes the rest";
        return false;
    }
    if (!fs::remove(JournalPath(), error) || (made && !fs::remove(m_directory, error))) {
        problem = Utf8(m_directory) + " could not be removed: " + error.message();
        return false;
    }
    return true;
}
