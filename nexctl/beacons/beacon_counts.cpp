#include "nexctl/beacons/beacon_counts.h"

#include <algorithm>
#include <iterator>

namespace {

// What the pages of docs/beacons.md call these events.
constexpr struct {
    std::string_view path;
    std::string_view item;
    const char* event;
} kItems[] = {
    {"/static/a/1663.6932.gif", "1663.6932", "too much of the processor was used"},
    {"/static/a/1663.1965.gif", "1663.1965", "the window did not answer and the helper ended itself"},
    {"/static/a/1687.8948.gif", "1687.8948", "the monitor window took the notice of a pop-up"},
    {"/static/a/1663.4439.gif", "1663.4439", "the WeChat SDK could not be loaded"},
    {"/static/a/1663.8991.gif", "1663.8991", "making a desktop shortcut ended"},
    {"/static/a/1663.9650.gif", "1663.9650", "an install of YYB was started"},
    {"/stats/yybinst", "yybinst", "an install of YYB was started (install statistics)"},
};

std::string ShortcutOutcome(std::string_view code) {
    constexpr std::pair<std::string_view, std::string_view> kCodes[] = {{"1", "written"},
                                                                        {"2", "picture not fetched"},
                                                                        {"3", "picture neither PNG nor JPEG"},
                                                                        {"4", "no icon made of it"},
                                                                        {"5", "shortcut not written"}};
    for (const auto& [one, words] : kCodes) {
        if (code == one) {
            return std::string(code) + " " + std::string(words);
        }
    }
    return std::string(code) + " unknown";
}

std::string OutcomeOf(std::string_view item, std::string_view referer) {
    if (item == "1663.8991") {
        return ShortcutOutcome(referer);
    }
    if (item == "1663.4439") {
        return "error " + std::string(referer);
    }
    if (item == "1663.6932") {
        return referer.ends_with("_C12") ? "twelve rounds: forced exit" : "six rounds and more";
    }
    return {};
}

// The path and query that a line asks for; empty for a line without a request.
std::string_view RequestOf(std::string_view line) {
    constexpr std::string_view kGet = "\"GET ";
    constexpr std::string_view kUrl = "\"url\":\"";
    std::string_view target;
    if (const std::size_t get = line.find(kGet); get != std::string_view::npos) {
        target = line.substr(get + kGet.size());
        target = target.substr(0, target.find_first_of(" \""));
    } else if (const std::size_t url = line.find(kUrl); url != std::string_view::npos) {
        target = line.substr(url + kUrl.size());
        target = target.substr(0, target.find('"'));
    }
    // A proxy's log has whole URLs.
    if (const std::size_t host = target.find("://"); host != std::string_view::npos && host < target.find('?')) {
        const std::size_t path = target.find('/', host + 3);
        target = path == std::string_view::npos ? std::string_view() : target.substr(path);
    }
    return target;
}

}  // namespace

std::optional<Beacon> ReadBeacon(std::string_view line) {
    const std::string_view target = RequestOf(line);
    const std::size_t question = std::min(target.find('?'), target.size());
    const auto* const item =
        std::ranges::find(kItems, target.substr(0, question), [](const auto& one) { return one.path; });
    if (item == std::end(kItems)) {
        return std::nullopt;
    }
    const std::string_view query = target.substr(question);
    std::string_view referer;
    constexpr std::string_view kReferer = "_referer=";
    if (const std::size_t at = query.find(kReferer); at != std::string_view::npos) {
        referer = query.substr(at + kReferer.size());
        // The beacon of shortcuts has a second question mark there.
        referer = referer.substr(0, referer.find_first_of("&?"));
    }
    std::string machine;
    // Everything after the first "m=" is the machine id.
    for (const std::string_view key : {"&m=", "?m="}) {
        const std::size_t at = query.find(key);
        if (at != std::string_view::npos && machine.empty()) {
            machine = query.substr(at + key.size());
        }
    }
    return Beacon{std::string(item->item), OutcomeOf(item->item, referer), machine};
}

const char* BeaconEvent(std::string_view item) {
    const auto* const found = std::ranges::find(kItems, item, [](const auto& one) { return one.item; });
    return found == std::end(kItems) ? nullptr : found->event;
}

BeaconCounts CountBeacons(std::string_view log) {
    BeaconCounts counts;
    for (std::size_t at = 0; at < log.size();) {
        const std::size_t end = std::min(log.find('\n', at), log.size());
        const std::string_view line = log.substr(at, end - at);
        at = end + 1;
        const auto beacon = ReadBeacon(line);
        if (!beacon) {
            counts.otherLines += line.find_first_not_of(" \r") != std::string_view::npos ? 1 : 0;
            continue;
        }
        BeaconCount& count = counts.items[beacon->item];
        ++count.count;
        if (!beacon->machine.empty()) {
            count.machines.insert(beacon->machine);
        }
        if (!beacon->outcome.empty()) {
            ++count.outcomes[beacon->outcome];
        }
    }
    return counts;
}

Json::Value BeaconRecord(const BeaconCounts& counts) {
    Json::Value record(Json::objectValue);
    record["items"] = Json::Value(Json::arrayValue);
    for (const auto& [item, count] : counts.items) {
        Json::Value one(Json::objectValue);
        one["item"] = item;
        one["event"] = BeaconEvent(item);
        one["count"] = Json::UInt64(count.count);
        one["machines"] = Json::UInt64(count.machines.size());
        for (const auto& [outcome, times] : count.outcomes) {
            one["outcomes"][outcome] = Json::UInt64(times);
        }
        record["items"].append(std::move(one));
    }
    record["other_lines"] = Json::UInt64(counts.otherLines);
    return record;
}

std::string BeaconText(const BeaconCounts& counts) {
    std::string text;
    for (const auto& [item, count] : counts.items) {
        text += item + ": " + BeaconEvent(item) + ": " + std::to_string(count.count) + " from " +
                std::to_string(count.machines.size()) + " machines\n";
        for (const auto& [outcome, times] : count.outcomes) {
            text += "    " + outcome + ": " + std::to_string(times) + "\n";
        }
    }
    return text + std::to_string(counts.otherLines) + " lines are of no beacon\n";
}
