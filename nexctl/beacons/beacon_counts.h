// The access log of a statistics server, counted by beacon and outcome.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

struct Beacon {
    std::string item;     // "1663.8991", or "yybinst"
    std::string outcome;  // "2 picture not fetched"; empty for an item that has one outcome
    std::string machine;  // the machine id, as it is in the line; may be empty
};

// The beacon of one line: of any access log that has the request line in quotation marks, or of the requests that
// nexlet-world writes. Nothing for every other line.
std::optional<Beacon> ReadBeacon(std::string_view line);

// What happened when an item was sent; nullptr for an unknown one.
const char* BeaconEvent(std::string_view item);

struct BeaconCount {
    std::uint64_t count = 0;
    std::set<std::string> machines;  // ids that are not empty
    std::map<std::string, std::uint64_t> outcomes;
};

struct BeaconCounts {
    std::map<std::string, BeaconCount> items;
    std::uint64_t otherLines = 0;  // lines that are of no beacon, empty ones aside
};

BeaconCounts CountBeacons(std::string_view log);

// {"items":[...],"other_lines":N}, and the same for people.
Json::Value BeaconRecord(const BeaconCounts& counts);
std::string BeaconText(const BeaconCounts& counts);
