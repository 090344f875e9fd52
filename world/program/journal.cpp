#include "world/program/journal.h"

#include <array>

#include "foundation/json_text.h"
#include "tooling/frame_text.h"

namespace {

constexpr std::array<const char*, 4> kKinds = {"folder", "value", "keep", "process"};
// Deeper than the registry lets keys be nested, and far from what would exhaust the stack.
constexpr int kMaxDepth = 600;

Json::Value TreeJson(const RegistryTree& tree) {
    Json::Value value(Json::objectValue);
    value["values"] = Json::Value(Json::arrayValue);
    for (const RegistryData& data : tree.values) {
        Json::Value one(Json::objectValue);
        one["name"] = data.strName;
        one["type"] = data.nType;
        one["hex"] = HexText(data.strBytes);
        value["values"].append(one);
    }
    value["keys"] = Json::Value(Json::objectValue);
    for (const auto& [name, below] : tree.keys) {
        value["keys"][name] = TreeJson(below);
    }
    return value;
}

bool ReadText(const Json::Value& object, const char* key, std::string& text) {
    const Json::Value* const member = object.isObject() ? FindJsonMember(object, key) : nullptr;
    if (member == nullptr || !member->isString()) {
        return false;
    }
    text = member->asString();
    return true;
}

bool ReadNumber(const Json::Value& object, const char* key, std::uint64_t most, std::uint64_t& number) {
    const Json::Value* const member = object.isObject() ? FindJsonMember(object, key) : nullptr;
    if (member == nullptr || !member->isUInt64() || member->asUInt64() > most) {
        return false;
    }
    number = member->asUInt64();
    return true;
}

bool ReadTree(const Json::Value& value, RegistryTree& tree, int depth) {
    if (!value.isObject() || depth == 0 || !value["values"].isArray() || !value["keys"].isObject()) {
        return false;
    }
    for (const Json::Value& one : value["values"]) {
        RegistryData& data = tree.values.emplace_back();
        std::uint64_t type = 0;
        std::string hex;
        if (!ReadText(one, "name", data.strName) || !ReadNumber(one, "type", 0xFFFFFFFF, type) ||
            !ReadText(one, "hex", hex) || !ParseHex(hex, data.strBytes)) {
            return false;
        }
        data.nType = static_cast<std::uint32_t>(type);
    }
    for (const std::string& name : value["keys"].getMemberNames()) {
        if (!ReadTree(value["keys"][name], tree.keys[name], depth - 1)) {
            return false;
        }
    }
    return true;
}

bool ReadRegistry(const Json::Value& line, JournalEntry& entry) {
    std::string place;
    if (!ReadText(line, "place", place) || !ReadText(line, "key", entry.strKey) ||
        !ReadText(line, "name", entry.strName) || !RegistryPlaceOf(place) || !line["missing"].isArray()) {
        return false;
    }
    entry.place = *RegistryPlaceOf(place);
    for (const Json::Value& key : line["missing"]) {
        if (!key.isString()) {
            return false;
        }
        entry.missing.push_back(key.asString());
    }
    return line["old"].isNull() || ReadTree(line["old"], entry.old.emplace(), kMaxDepth);
}

bool ReadEntry(std::string_view text, JournalEntry& entry) {
    Json::Value line;
    std::string kind;
    if (!ParseJson(text, line) || !ReadText(line, "kind", kind)) {
        return false;
    }
    std::size_t at = 0;
    while (at < kKinds.size() && kind != kKinds[at]) {
        ++at;
    }
    entry.kind = static_cast<JournalEntry::Kind>(at);
    switch (entry.kind) {
        case JournalEntry::Kind::Folder:
            return true;
        case JournalEntry::Kind::Value:
        case JournalEntry::Kind::Keep:
            return ReadRegistry(line, entry);
        case JournalEntry::Kind::Process: {
            std::uint64_t id = 0;
            const bool read = ReadNumber(line, "id", 0xFFFFFFFF, id) &&
                              ReadNumber(line, "started_at", ~std::uint64_t{0}, entry.nStartedAt) &&
                              ReadText(line, "stop", entry.strStop);
            entry.nProcessId = static_cast<std::uint32_t>(id);
            return read;
        }
    }
    return false;
}

}  // namespace

std::string JournalLine(const JournalEntry& entry) {
    Json::Value line(Json::objectValue);
    line["kind"] = kKinds.at(static_cast<std::size_t>(entry.kind));
    if (entry.kind == JournalEntry::Kind::Value || entry.kind == JournalEntry::Kind::Keep) {
        line["place"] = RegistryPlaceName(entry.place);
        line["key"] = entry.strKey;
        line["name"] = entry.strName;
        line["missing"] = Json::Value(Json::arrayValue);
        for (const std::string& key : entry.missing) {
            line["missing"].append(key);
        }
        line["old"] = entry.old ? TreeJson(*entry.old) : Json::Value();
    }
    if (entry.kind == JournalEntry::Kind::Process) {
        line["id"] = entry.nProcessId;
        line["started_at"] = Json::UInt64(entry.nStartedAt);
        line["stop"] = entry.strStop;
    }
    return WriteJson(line) + "\n";
}

bool ReadJournal(std::string_view text, std::vector<JournalEntry>& entries, std::string& problem) {
    entries.clear();
    std::size_t number = 0;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        ++number;
        if (!ReadEntry(text.substr(0, end), entries.emplace_back())) {
            problem = "line " + std::to_string(number) + ": this is not a line of a journal";
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}
