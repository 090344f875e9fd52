// A caller that is there to be killed: killed_caller MARK SERVICE PROGRAM WAY STAGE EVENT.
// WAY is "pipe" to hand the command line over through the host's pipe, or "program" to have PROGRAM do it. At STAGE the
// event is set; then it runs until it is killed, and sends all the time once it is connected.
#include <cstdlib>
#include <string>

#include "client/caller.h"
#include "client/host_pipe.h"
#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "ipc/protocol/envelope.h"
#include "ipc/transport/frame.h"
#include "tests/e2e/killed_caller.h"
#include "tests/support/message_number.h"

namespace {

constexpr std::uint32_t kWaitMs = 30000;

// Ends with the number of the step that failed, so that the test can say which.
void Need(CallerResult result, int step) {
    if (result != CallerResult::Ok) {
        std::_Exit(step);
    }
}

// Sends until it is killed: requests whole, in halves, and replies that it does not read.
[[noreturn]] void Talk(CCaller& caller) {
    for (int tag = 0;; ++tag) {
        Json::Value open(Json::objectValue);
        open["service_id"] = caller.ServiceId();
        open["p1"]["type"] = "miniApp";
        open["tag"] = tag;
        Need(caller.Send(Number(MessageType::WM_COPY_DATA_MSG_IPC_GET_OPEN), open, kWaitMs), 10);
        ReceivedFrame reply;
        Need(caller.WaitForFrame(Number(MessageType::S_MT_OpenMiniAppReply), kWaitMs, reply), 11);
        Json::Value poll(Json::objectValue);
        poll["service_id"] = caller.ServiceId();
        poll["p1"] = "{}";
        poll["big"] = std::string(tag % 4 == 0 ? 200000 : 10, 'x');
        const std::string frame = BuildFrame(WriteEnvelope(Number(MessageType::S_MT_OpenMiniAppSuccessfully), poll));
        Need(caller.SendBytes(frame.substr(0, frame.size() / 2), kWaitMs), 12);
        Need(caller.SendBytes(frame.substr(frame.size() / 2), kWaitMs), 13);
        Need(caller.WaitForFrame(Number(MessageType::S_MT_StatusReply), kWaitMs, reply), 14);
    }
}

}  // namespace

int main(int count, char** values) {
    if (count != 7) {
        return 1;
    }
    const std::wstring mark = Utf8ToUtf16(values[1]);
    const int wanted = std::atoi(values[5]);
    const CKernelHandle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, Utf8ToUtf16(values[6]).c_str()));
    const auto reach = [&](KillStage stage) {
        if (static_cast<int>(stage) == wanted) {
            SetEvent(event.get());
        }
    };
    CCaller caller(mark, values[2]);
    HelperStart start;
    start.strExe = Utf8ToUtf16(values[3]);
    start.strMark = mark;
    start.strServiceId = values[2];
    Need(caller.Open(), 2);
    reach(KillStage::Serving);
    if (std::string(values[4]) == "program") {
        if (caller.StartHelper(start) != CallerResult::Ok) {
            // Wine gives up on a process that does not come up in time on a machine out of breath.
            Need(caller.StartHelper(start), 3);
        }
        reach(KillStage::HandingOver);
    } else {
        std::wstring commandLine;
        Need(BuildHelperCommandLine(start, commandLine), 4);
        CHostPipe host;
        DWORD systemError = 0;
        Need(host.Connect(mark, kWaitMs, systemError), 5);
        const std::string frame =
            BuildFrame(WriteEnvelope(Number(MessageType::S_MT_InitWxApp), Json::Value(Utf16ToUtf8(commandLine))));
        Need(host.SendBytes(frame.substr(0, frame.size() / 2), kWaitMs), 6);
        reach(KillStage::HandingOver);
        Need(host.SendBytes(frame.substr(frame.size() / 2), kWaitMs), 7);
        std::string answer;
        Need(host.WaitForPayload(kWaitMs, answer), 8);
    }
    reach(KillStage::HandedOver);
    ReceivedFrame notice;
    Need(caller.WaitForFrame(Number(MessageType::S_MT_InitReply), kWaitMs, notice), 9);
    reach(KillStage::Talking);
    Talk(caller);
}
