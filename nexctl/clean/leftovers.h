// What helpers leave on a machine for the user who runs them, for "nexctl clean".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class LeftoverKind {
    RegistryValue,
    CacheFile,
    Log,  // logs, their pages, minidumps
    Shortcut,
};

struct Leftover {
    LeftoverKind kind = LeftoverKind::RegistryValue;
    std::string name;          // a path, or the key below HKEY_CURRENT_USER
    std::string value = {};    // of RegistryValue
    bool inUse = false;        // a log that a running process writes: it stays
    std::string problem = {};  // why it could not be removed; empty as long as it was not tried
};

// "registry", "cache", "log", "shortcut".
const char* LeftoverKindName(LeftoverKind kind);
// "registry HKCU\Software\X: value" and the like.
std::string LeftoverText(const Leftover& leftover);

// Everything there is, in the order registry, caches, logs, shortcuts.
std::vector<Leftover> FindLeftovers();

// Removes what is not in use, and then keys and folders that have become empty. What could not be removed gets a
// problem. True when all of it was removed.
bool RemoveLeftovers(std::vector<Leftover>& leftovers);
