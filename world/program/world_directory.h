// A world in its directory: brings it up, with each step in the journal, and takes it down again.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "foundation/handle.h"
#include "world/program/journal.h"
#include "world/program/world_scenario.h"

// One directory, one thread.
class CWorldDirectory {
  public:
    // programs is the folder that the sources of a scenario are in.
    CWorldDirectory(std::filesystem::path directory, std::filesystem::path programs);

    // Whether a journal is there: a world that is up, or one that a crash has left half way.
    bool IsUp() const;

    // Makes the directory, which must be empty or not there, and takes the steps in it. On a failure problem says which
    // one, and the journal holds what was done.
    bool Up(const std::vector<WorldStep>& steps, std::string& problem);

    // Takes back everything in the journal, the latest first, ends what runs from the directory, and removes all that
    // is in it. False, with what is left in problem, when not all of it could be; the journal is kept then, and another
    // attempt continues from there.
    bool Down(std::string& problem);

  private:
    std::filesystem::path JournalPath() const;
    bool Begin(std::string& problem);
    bool Write(const JournalEntry& entry);
    // An empty text, or what failed.
    std::string Take(const WorldStep& step);
    std::string TakeValue(const WorldStep& step);
    std::string TakeSetting(const WorldStep& step);
    std::string TakeProcess(const WorldStep& step);
    std::string TakeInternet(const WorldStep& step);
    std::string TakeAnswer(const WorldStep& step) const;
    std::string Copy(const WorldStep& step) const;
    std::string Filled(const std::string& text) const;

    const std::filesystem::path m_directory;
    const std::filesystem::path m_programs;
    CFileHandle m_hJournal;
};
