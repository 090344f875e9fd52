#include "host/forwarder.h"

#include <memory>

#include <json/value.h>

#include "foundation/handle.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/command_line.h"
#include "ipc/protocol/envelope.h"
#include "ipc/protocol/message_type.h"
#include "ipc/protocol/reply_callback.h"
#include "ipc/transport/iocp_client.h"
#include "ipc/transport/pipe_names.h"

namespace {

constexpr DWORD kServerWaitMs = 2000;
constexpr DWORD kReplyWaitMs = 2000;
// A forwarded parameter may have 8190 characters, less than a first start takes.
constexpr std::size_t kParamSwitchSize = 8191;

constexpr int kInitType = static_cast<int>(MessageType::S_MT_InitWxApp);

// The message for the running helper. It acts on type 1 alone: the text of any other type is a content it refuses,
// without a reply. Callers are used to a second start that never opens anything;
// ForwarderTest.AnotherTypeCarriesTheDecodedParameterAsText holds it.
std::string ForwardedMessage(int nType, const std::wstring& commandLine, const std::string& param) {
    return WriteEnvelope(nType, Json::Value(nType == kInitType ? Utf16ToUtf8(commandLine) : param));
}

}  // namespace

void ExistzoltExcute(const std::wstring& commandLine) {
    NXL_LOG(L"[%s(%d)] enter ExistzoltExcute");
    const std::wstring mark = ReadSwitch(commandLine, kSwitchFrom, kShortSwitchSize).value_or(std::wstring());
    NXL_LOG(L"[%s(%d)] enter mark=%s", mark.c_str());
    int nType = kInitType;
    if (const auto type = ReadSwitch(commandLine, kSwitchType, kShortSwitchSize)) {
        NXL_LOG(L"[%s(%d)] enter typeBuffer=%s", type->c_str());
        nType = TypeFromSwitch(*type);
    } else {
        NXL_LOG(L"[%s(%d)] enter type def");
    }
    const std::wstring param = ReadSwitch(commandLine, kSwitchParam, kParamSwitchSize).value_or(std::wstring());
    NXL_LOG(L"[%s(%d)] enter paramBuffer=%s", param.c_str());
    const std::string message = ForwardedMessage(nType, commandLine, DecodeSwitch(param));

    const auto pSink = std::make_shared<CPipeClientCallback2>(
        CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/FALSE, /*bInitialState=*/FALSE, nullptr)));
    const HANDLE hReply = pSink->ReplyEvent();
    const CKernelHandle ready(OpenEventW(EVENT_ALL_ACCESS, /*bInheritHandle=*/FALSE, kReadyEventName));

    // Nothing can signal the reply yet, so this is a plain delay, and the ready event is only held open. It gives a
    // first start that has just begun the time to bring its server up, which callers rely on;
    // ForwarderTest.ItDelaysForTwoSecondsEvenWhenTheServerIsReady holds it.
    switch (g_pfnForwarderWait(hReply, kServerWaitMs)) {
        case WAIT_OBJECT_0:
            NXL_LOG(L"[%s(%d)] SIPC event signaled!");
            break;
        case WAIT_FAILED:
            NXL_LOG(L"[%s(%d)] SIPC wait failed. error=%d", GetLastError());
            break;
        default:
            NXL_LOG(L"[%s(%d)] SIPC unexpected wait result.");
            break;
    }

    const std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
    pClient->SetCallback(pSink);
    pClient->SetNames(HostPipeName(mark), HostEventName(mark));
    pClient->StartThread();
    if (pClient->CreateClientContext() == 0) {
        NXL_LOG(L"[%s(%d)] Failed to connect to server!");
    }
    if (pClient->HasContext() && pClient->PostRead() == 1) {
        NXL_LOG(L"[%s(%d)] PostRead yse");
        pClient->Send(message);
        const DWORD dwWaitResult = g_pfnForwarderWait(hReply, kReplyWaitMs);
        if (dwWaitResult == WAIT_OBJECT_0) {
            NXL_LOG(L"[%s(%d)] SPIC Received message");
            pClient->Stop();
            pClient->WaitForThread();
            return;
        }
        NXL_LOG(L"[%s(%d)] SPIC Received message dwWaitResult=%d ,error=%d", dwWaitResult, GetLastError());
    }
    // The worker is not waited for here: it ends by itself, and shares what it needs until then.
    pClient->ClosePort();
}
