#include "nexctl/log/log_choice.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace {

bool Fits(const LogFile& file, const LogWish& wish) {
    const auto& services = file.summary.services;
    return (!wish.strMark || *wish.strMark == file.summary.strMark) &&
           (!wish.strService || std::ranges::find(services, *wish.strService) != services.end()) &&
           (wish.processIds.empty() || std::ranges::find(wish.processIds, file.nProcessId) != wish.processIds.end()) &&
           (!wish.nWrittenSince || file.nWrittenAt >= *wish.nWrittenSince);
}

}  // namespace

std::vector<LogFile> ChooseLogs(std::vector<LogFile> files, const LogWish& wish) {
    std::erase_if(files, [&](const LogFile& file) { return !Fits(file, wish); });
    std::ranges::stable_sort(files, [](const LogFile& a, const LogFile& b) {
        const bool aHandedOver = a.summary.end == LogEnd::HandedOver;
        const bool bHandedOver = b.summary.end == LogEnd::HandedOver;
        return aHandedOver != bHandedOver ? bHandedOver : a.nWrittenAt > b.nWrittenAt;
    });
    return files;
}

std::string LogFileText(const LogFile& file) {
    std::string services;
    for (const std::string& service : file.summary.services) {
        services += (services.empty() ? "" : ", ") + service;
    }
    return file.strPath + ": " + (file.nProcessId != 0 ? "process " + std::to_string(file.nProcessId) + ", " : "") +
           "mark \"" + file.summary.strMark + "\", services " + (services.empty() ? "none" : services) + ", from " +
           TimeOfDay(file.summary.nFirstMs) + ", last line " + TimeOfDay(file.summary.nLastMs) +
           (file.strDate.empty() ? "" : " on " + file.strDate) + ", " + LogEndText(file.summary, file.bRunning);
}

std::optional<std::uint64_t> ReadSpan(std::string_view text) {
    constexpr struct {
        char unit;
        std::uint64_t ms;
    } kUnits[] = {{'s', 1000}, {'m', 60000}, {'h', 3600000}, {'d', 86400000}};
    if (text.empty()) {
        return std::nullopt;
    }
    for (const auto& one : kUnits) {
        if (text.back() != one.unit) {
            continue;
        }
        std::uint64_t number = 0;
        const char* const end = text.data() + text.size() - 1;
        const auto [at, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || at != end || number > std::numeric_limits<std::uint64_t>::max() / one.ms / 10000) {
            return std::nullopt;
        }
        return number * one.ms;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> ReadSize(std::string_view text) {
    constexpr std::pair<std::string_view, int> kUnits[] = {{"KB", 10}, {"MB", 20}, {"GB", 30}, {"", 0}};
    for (const auto& [unit, shift] : kUnits) {
        if (!text.ends_with(unit)) {
            continue;
        }
        const std::string_view digits = text.substr(0, text.size() - unit.size());
        std::uint64_t number = 0;
        const auto [at, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        if (digits.empty() || error != std::errc() || at != digits.data() + digits.size() ||
            number > std::numeric_limits<std::uint64_t>::max() >> shift) {
            return std::nullopt;
        }
        return number << shift;
    }
    return std::nullopt;
}
