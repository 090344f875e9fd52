// Which thread of a helper a line of its log tells of: the lanes of a timeline.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

// In the order in which a page shows them.
enum Lane : std::size_t {
    kMain,
    kHostPipe,
    kCallerPipe,
    kTransfer,
    kHang,
    kCpu,
    kConfiguration,
    kPipeWatch,
    kFollow,
    kEndLater,
    kWindow,
    kShortcut,
    kAny,
    kLaneCount,
};

// The thread of a connection reads on once it has handled what it read.
inline constexpr std::string_view kReadsOn = "CClientContext::PostRead";

// What people call a lane, below kLaneCount.
const char* LaneName(std::size_t lane);

// The one thread that runs a function, by its name in the log; none for a function that runs on several.
std::optional<Lane> LaneOfFunction(std::string_view function);
