#include "world/program/registry_tree.h"

#include <ranges>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"

namespace {

HKEY RootOf(RegistryPlace place) {
    return place == RegistryPlace::User ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

REGSAM ViewOf(RegistryPlace place) {
    return place == RegistryPlace::Machine32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY;
}

LSTATUS OpenKey(RegistryPlace place, const std::string& key, REGSAM access, CRegistryKey& opened) {
    HKEY handle = nullptr;
    const LSTATUS status = RegOpenKeyExW(RootOf(place), Utf8ToUtf16(key).c_str(), 0, access | ViewOf(place), &handle);
    opened.reset(handle);
    return status;
}

bool Exists(RegistryPlace place, const std::string& key) {
    CRegistryKey opened;
    return OpenKey(place, key, KEY_READ, opened) == ERROR_SUCCESS;
}

// Of the key and those above it what is not there, the outermost first.
std::vector<std::string> MissingOf(RegistryPlace place, const std::string& key) {
    std::vector<std::string> missing;
    for (std::size_t end = key.find('\\');; end = key.find('\\', end + 1)) {
        const std::string path = key.substr(0, end);
        if (!Exists(place, path)) {
            missing.push_back(path);
        }
        if (end == std::string::npos) {
            return missing;
        }
    }
}

// The values of the opened key. The buffer grows until the largest of them fits.
bool ReadValues(HKEY key, std::vector<RegistryData>& values) {
    std::wstring name(16384, L'\0');
    std::string bytes(4096, '\0');
    for (DWORD index = 0;;) {
        auto nameSize = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(bytes.size());
        DWORD type = 0;
        const LSTATUS status = RegEnumValueW(key, index, name.data(), &nameSize, nullptr, &type,
                                             reinterpret_cast<BYTE*>(bytes.data()), &size);
        if (status == ERROR_MORE_DATA) {
            bytes.resize(bytes.size() * 2);
            continue;
        }
        if (status != ERROR_SUCCESS) {
            return status == ERROR_NO_MORE_ITEMS;
        }
        values.push_back({Utf16ToUtf8(name.substr(0, nameSize)), type, bytes.substr(0, size)});
        ++index;
    }
}

bool ReadTreeOf(RegistryPlace place, const std::string& key, RegistryTree& tree) {
    CRegistryKey opened;
    if (OpenKey(place, key, KEY_READ, opened) != ERROR_SUCCESS || !ReadValues(opened.get(), tree.values)) {
        return false;
    }
    const std::string prefix = key + "\\";
    for (DWORD index = 0;; ++index) {
        wchar_t name[256] = {};
        DWORD size = 256;
        const LSTATUS status = RegEnumKeyExW(opened.get(), index, name, &size, nullptr, nullptr, nullptr, nullptr);
        if (status != ERROR_SUCCESS) {
            return status == ERROR_NO_MORE_ITEMS;
        }
        const std::string below = Utf16ToUtf8(name);
        if (!ReadTreeOf(place, prefix + below, tree.keys[below])) {
            return false;
        }
    }
}

bool WriteTree(RegistryPlace place, const std::string& key, const RegistryTree& tree) {
    HKEY made = nullptr;
    if (RegCreateKeyExW(RootOf(place), Utf8ToUtf16(key).c_str(), 0, nullptr, 0, KEY_WRITE | ViewOf(place), nullptr,
                        &made, nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const CRegistryKey owner(made);
    bool done = true;
    for (const RegistryData& data : tree.values) {
        done = RegSetValueExW(made, Utf8ToUtf16(data.strName).c_str(), 0, data.nType,
                              reinterpret_cast<const BYTE*>(data.strBytes.data()),
                              static_cast<DWORD>(data.strBytes.size())) == ERROR_SUCCESS &&
               done;
    }
    const std::string prefix = key + "\\";
    for (const auto& [name, below] : tree.keys) {
        done = WriteTree(place, prefix + name, below) && done;
    }
    return done;
}

bool RemoveValue(RegistryPlace place, const std::string& key, const std::string& name) {
    CRegistryKey opened;
    const LSTATUS status = OpenKey(place, key, KEY_WRITE, opened);
    if (status == ERROR_FILE_NOT_FOUND) {
        return true;
    }
    const LSTATUS removed = status == ERROR_SUCCESS ? RegDeleteValueW(opened.get(), Utf8ToUtf16(name).c_str()) : status;
    return removed == ERROR_SUCCESS || removed == ERROR_FILE_NOT_FOUND;
}

bool RemoveKey(RegistryPlace place, const std::string& key) {
    const LSTATUS status = RegDeleteKeyExW(RootOf(place), Utf8ToUtf16(key).c_str(), ViewOf(place), 0);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

// Everything in the key, which itself stays.
bool EmptyKey(RegistryPlace place, const std::string& key) {
    CRegistryKey opened;
    const LSTATUS status = OpenKey(place, key, KEY_ALL_ACCESS, opened);
    return status == ERROR_FILE_NOT_FOUND ||
           (status == ERROR_SUCCESS && RegDeleteTreeW(opened.get(), nullptr) == ERROR_SUCCESS);
}

bool RemoveEmptyKeys(const JournalEntry& entry) {
    for (const std::string& key : entry.missing | std::views::reverse) {
        CRegistryKey opened;
        DWORD values = 0;
        DWORD keys = 0;
        if (OpenKey(entry.place, key, KEY_READ, opened) != ERROR_SUCCESS ||
            RegQueryInfoKeyW(opened.get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                             nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
            continue;
        }
        opened.reset();
        if (values == 0 && keys == 0 && !RemoveKey(entry.place, key)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool RememberValue(RegistryPlace place, const std::string& key, const std::string& name, JournalEntry& entry) {
    entry = {.kind = JournalEntry::Kind::Value, .place = place, .strKey = key, .strName = name};
    entry.missing = MissingOf(place, key);
    CRegistryKey opened;
    if (OpenKey(place, key, KEY_READ, opened) != ERROR_SUCCESS) {
        return !entry.missing.empty();
    }
    std::vector<RegistryData> values;
    if (!ReadValues(opened.get(), values)) {
        return false;
    }
    for (RegistryData& data : values) {
        // Names differ by more than their case, in the registry.
        if (CompareStringOrdinal(Utf8ToUtf16(data.strName).c_str(), -1, Utf8ToUtf16(name).c_str(), -1, TRUE) ==
            CSTR_EQUAL) {
            entry.old.emplace().values.push_back(std::move(data));
        }
    }
    return true;
}

bool RememberKey(RegistryPlace place, const std::string& key, JournalEntry& entry) {
    entry = {.kind = JournalEntry::Kind::Keep, .place = place, .strKey = key};
    entry.missing = MissingOf(place, key);
    return Exists(place, key) ? ReadTreeOf(place, key, entry.old.emplace()) : !entry.missing.empty();
}

bool SetRegistryValue(RegistryPlace place, const std::string& key, const RegistryData& data) {
    RegistryTree tree;
    tree.values.push_back(data);
    return WriteTree(place, key, tree);
}

bool RestoreRegistry(const JournalEntry& entry) {
    bool done = true;
    JournalEntry now;
    if (entry.kind == JournalEntry::Kind::Keep && RememberKey(entry.place, entry.strKey, now) && now.old == entry.old) {
        // No world has written there; it may be a key that this user must not write.
        return RemoveEmptyKeys(entry);
    }
    if (entry.kind == JournalEntry::Kind::Keep) {
        done = EmptyKey(entry.place, entry.strKey);
    } else if (!entry.old) {
        done = RemoveValue(entry.place, entry.strKey, entry.strName);
    }
    if (entry.old) {
        done = WriteTree(entry.place, entry.strKey, *entry.old) && done;
    }
    return RemoveEmptyKeys(entry) && done;
}

std::string RegistryTextBytes(const std::string& text) {
    const std::wstring wide = Utf8ToUtf16(text);
    return {reinterpret_cast<const char*>(wide.c_str()), (wide.size() + 1) * sizeof(wchar_t)};
}
