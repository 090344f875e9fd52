#include "nexctl/log/timeline_lanes.h"

#include <iterator>

namespace {

constexpr const char* kLaneNames[] = {
    "main thread", "host pipe",      "caller's pipe",    "transfer worker", "hang watch", "CPU watch",  "configuration",
    "pipe watch",  "follow an open", "end of a service", "loading window",  "shortcut",   "any thread",
};
static_assert(std::size(kLaneNames) == kLaneCount);

// The beginning of a function's name, and the one thread that runs it.
constexpr struct {
    std::string_view function;
    Lane lane;
} kFunctions[] = {
    {"wWinMain", kMain},
    {"WindowProc", kMain},
    {"ExistzoltExcute", kMain},
    {"CPipeClientCallback2::", kMain},
    {"CommzoltHelperS::OnTimer", kMain},
    // The parts of it, and of the hang watch below, as logs of earlier builds name them.
    {"CommzoltHelperS::OnCheckExit", kMain},
    {"CommzoltHelperS::OnCheckTimeout", kMain},
    {"CommzoltHelperS::OnUpdateStatus", kMain},
    {"CommzoltHelperS::PruneInstances", kMain},
    {"CommzoltHelperS::InitMsgWnd", kMain},
    {"CommzoltHelperS::InitZOLTSIPC", kMain},
    {"CommzoltHelperS::InitHangWatcherThread", kMain},
    {"CommzoltHelperS::InitMonCPUUsageThread", kMain},
    {"CommzoltHelperS::InitConfInfoThread", kMain},
    {"CPipeServerCallback::", kHostPipe},
    {"CommzoltHelperS::ReceiveIPCMessage", kHostPipe},
    {"CPipeClientCallback::", kCallerPipe},
    {kReadsOn, kCallerPipe},
    {"CClientContext::OnWriteBuffer", kCallerPipe},
    {"COvHttpTransfer::", kTransfer},
    {"HangWatcherThreadFunc", kHang},
    {"RunHangWatch", kHang},
    {"MonCPUUsageThreadFunc", kCpu},
    {"CalculateCpuUsage", kCpu},
    {"ConfInfoThreadFunc", kConfiguration},
    {"HttpContextText", kConfiguration},
    {"ParseInfo", kConfiguration},
    {"CheckzoltDLLThread", kPipeWatch},
    {"DelayCheckWndThread", kFollow},
    {"DelayedDestroyThread", kEndLater},
    {"HttpResponseCallback", kFollow},
    {"WX_CLIENT::PopWxLoadingWnd", kWindow},
    {"CWxLoadingWnd::", kWindow},
    {"WX_CLIENT::CreateAppShortcut", kShortcut},
    {"CosOp::", kShortcut},
    // After the longer name: the first that fits is taken.
    {"HttpDownloadFile", kShortcut},
    {"HttpDownload", kWindow},
};

}  // namespace

const char* LaneName(std::size_t lane) {
    return kLaneNames[lane];
}

std::optional<Lane> LaneOfFunction(std::string_view function) {
    for (const auto& one : kFunctions) {
        if (function.starts_with(one.function)) {
            return one.lane;
        }
    }
    return std::nullopt;
}
