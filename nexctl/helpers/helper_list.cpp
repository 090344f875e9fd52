#include "nexctl/helpers/helper_list.h"

#include <algorithm>
#include <array>

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string ServicesText(const std::vector<ServiceState>& services) {
    std::string text;
    for (const ServiceState& service : services) {
        text += (text.empty() ? "" : ", ") + service.id + (service.connected ? "" : " (not connected)");
    }
    return text.empty() ? "none" : text;
}

std::string ServesText(const std::optional<bool>& serves) {
    return !serves ? "not told" : *serves ? "yes" : "no";
}

}  // namespace

std::vector<ServiceState> MergeServices(const std::vector<std::string>& connected,
                                        const std::vector<std::string>& told) {
    std::vector<ServiceState> services;
    const auto add = [&](const std::string& id, bool isConnected) {
        if (!id.empty() && std::ranges::find(services, id, &ServiceState::id) == services.end()) {
            services.push_back({id, isConnected});
        }
    };
    for (const std::string& id : connected) {
        add(id, true);
    }
    for (const std::string& id : told) {
        add(id, false);
    }
    return services;
}

std::vector<std::string> ServicesOfPipes(const std::vector<std::string>& pipes, const std::string& prefix) {
    std::vector<std::string> ids;
    for (const std::string& pipe : pipes) {
        const bool fits =
            pipe.size() > prefix.size() &&
            std::equal(prefix.begin(), prefix.end(), pipe.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
        if (fits) {
            ids.push_back(pipe.substr(prefix.size()));
        }
    }
    return ids;
}

std::string AgeText(std::uint64_t seconds) {
    constexpr std::uint64_t kMinute = 60;
    constexpr std::uint64_t kHour = 60 * kMinute;
    constexpr std::uint64_t kDay = 24 * kHour;
    if (seconds < kMinute) {
        return std::to_string(seconds) + " s";
    }
    if (seconds < kHour) {
        return std::to_string(seconds / kMinute) + " min";
    }
    return seconds < kDay ? std::to_string(seconds / kHour) + " h " + std::to_string(seconds % kHour / kMinute) + " min"
                          : std::to_string(seconds / kDay) + " d " + std::to_string(seconds % kDay / kHour) + " h";
}

Json::Value HelpersRecord(const std::vector<RunningHelper>& helpers) {
    Json::Value record(Json::objectValue);
    record["helpers"] = Json::Value(Json::arrayValue);
    for (const RunningHelper& helper : helpers) {
        Json::Value one(Json::objectValue);
        one["process_id"] = helper.processId;
        one["mark"] = helper.mark;
        one["program"] = helper.program;
        one["version"] = helper.version;
        one["services"] = Json::Value(Json::arrayValue);
        for (const ServiceState& service : helper.services) {
            Json::Value state(Json::objectValue);
            state["id"] = service.id;
            state["connected"] = service.connected;
            one["services"].append(std::move(state));
        }
        one["serves"] = helper.serves ? Json::Value(*helper.serves) : Json::Value();
        one["age_seconds"] = helper.ageSeconds ? Json::Value(Json::UInt64(*helper.ageSeconds)) : Json::Value();
        one["log"] = helper.log;
        record["helpers"].append(std::move(one));
    }
    return record;
}

std::string HelpersText(const std::vector<RunningHelper>& helpers) {
    if (helpers.empty()) {
        return "no helper runs\n";
    }
    using Row = std::array<std::string, 7>;
    std::vector<Row> rows = {{"PROCESS", "MARK", "VERSION", "AGE", "SERVES", "SERVICES", "LOG"}};
    for (const RunningHelper& helper : helpers) {
        rows.push_back({std::to_string(helper.processId), helper.mark.empty() ? "not told" : helper.mark,
                        helper.version.empty() ? "none" : helper.version,
                        helper.ageSeconds ? AgeText(*helper.ageSeconds) : "not told", ServesText(helper.serves),
                        ServicesText(helper.services), helper.log.empty() ? "none" : helper.log});
    }
    std::array<std::size_t, std::tuple_size_v<Row>> widths = {};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            text += i + 1 < row.size() ? std::string(widths[i] - row[i].size() + 2, ' ') : "\n";
        }
    }
    return text;
}
