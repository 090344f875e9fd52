// What a world has changed, so that it can be changed back: JSON lines, each written before its change is made.
//
// All below the world's directory is the world's own and needs no line.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "world/program/world_scenario.h"

struct RegistryData {
    std::string strName{};
    std::uint32_t nType = 0;
    std::string strBytes;

    bool operator==(const RegistryData&) const = default;
};

struct RegistryTree {
    std::vector<RegistryData> values;
    std::map<std::string, RegistryTree> keys;

    bool operator==(const RegistryTree&) const = default;
};

struct JournalEntry {
    enum class Kind {
        Folder,   // the world's directory itself was made
        Value,    // a registry value: in old, or not there
        Keep,     // a registry key with all below it: old, or not there
        Process,  // was started
    };
    Kind kind = Kind::Folder;

    RegistryPlace place = RegistryPlace::User;
    std::string strKey{};
    std::string strName{};
    std::vector<std::string> missing{};  // of the key and those above it, what was not there; the outermost first
    std::optional<RegistryTree> old{};

    std::uint32_t nProcessId = 0;
    std::uint64_t nStartedAt = 0;  // the process's own time, so that another with its id is not taken for it
    std::string strStop{};         // the event that ends it

    bool operator==(const JournalEntry&) const = default;
};

// One line, with its end.
std::string JournalLine(const JournalEntry& entry);

// Reads a journal. A last line without its end is left out: its change was never made. False, with a sentence in
// problem, when it is not one.
bool ReadJournal(std::string_view text, std::vector<JournalEntry>& entries, std::string& problem);
