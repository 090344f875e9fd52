// Saving registry keys and values, and restoring them. Any thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "world/program/journal.h"

// The entry that restores what is there now. False when it cannot be read.
bool RememberValue(RegistryPlace place, const std::string& key, const std::string& name, JournalEntry& entry);
bool RememberKey(RegistryPlace place, const std::string& key, JournalEntry& entry);

// False when it cannot be written.
bool SetRegistryValue(RegistryPlace place, const std::string& key, const RegistryData& data);

// Makes the registry what the entry says; more than once does no harm. Keys that were not there are removed when
// nothing is left in them. False when something cannot be changed.
bool RestoreRegistry(const JournalEntry& entry);

// The bytes of a registry text, with its terminator.
std::string RegistryTextBytes(const std::string& text);
