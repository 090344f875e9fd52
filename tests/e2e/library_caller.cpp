#include "tests/e2e/library_caller.h"

#include <utility>

#include "foundation/json_text.h"
#include "foundation/text_helpers.h"
#include "ipc/transport/pipe_names.h"

namespace {

// The numbers are the same.
CallerResult ResultOf(nexlet_result result) {
    return static_cast<CallerResult>(result);
}
static_assert(static_cast<int>(CallerResult::Closed) == NEXLET_CLOSED);

}  // namespace

CLibraryCaller::CLibraryCaller(std::wstring strMark, std::string strServiceId)
    : m_strMark(std::move(strMark)), m_strServiceId(std::move(strServiceId)) {}

CallerResult CLibraryCaller::Open() {
    const nexlet_result result = m_client.Open(Utf16ToUtf8(m_strMark), m_strServiceId);
    m_dwSystemError = GetLastError();
    return ResultOf(result);
}

CallerResult CLibraryCaller::StartHelper(HelperStart start) {
    const std::string program = Utf16ToUtf8(start.strExe);
    const std::string type = Utf16ToUtf8(start.strType);
    nexlet_start_options options = {};
    options.flags = NEXLET_START_PROCESS | NEXLET_START_NO_WAIT;
    options.program = program.c_str();
    options.channel_json = start.strChannel.c_str();
    options.type = type.c_str();
    options.param_json = start.strParam.c_str();
    const nexlet_result result = m_client.Start(options, 0);
    m_dwSystemError = GetLastError();
    if (result == NEXLET_OK) {
        m_hProcess.reset(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, ProcessId()));
    }
    return ResultOf(result);
}

CallerResult CLibraryCaller::Send(int nType, const Json::Value& content, std::uint32_t timeoutMs) {
    return ResultOf(m_client.Send(nType, WriteJson(content), timeoutMs));
}

CallerResult CLibraryCaller::SendPayload(std::string_view payload, std::uint32_t timeoutMs) {
    return ResultOf(m_client.SendPayload(payload, timeoutMs));
}

CallerResult CLibraryCaller::WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame) {
    auto answer = m_client.WaitFrame(nType, timeoutMs);
    if (answer) {
        frame = ReceivedFrame();
        frame.nType = answer.value.type;
        Json::Value root;
        if (frame.nType != 0 && ParseJson(answer.value.payload, root)) {
            frame.content = root["content"];
        }
        frame.strPayload = std::move(answer.value.payload);
    }
    return ResultOf(answer.result);
}

CallerResult CLibraryCaller::WaitForConnection(std::uint32_t timeoutMs) {
    return ResultOf(m_client.WaitConnected(timeoutMs));
}

CallerResult CLibraryCaller::WaitForLoss(std::uint32_t timeoutMs) {
    return ResultOf(m_client.WaitLost(timeoutMs));
}

std::wstring CLibraryCaller::PipeName() const {
    return ServicePipeName(m_strMark, m_strServiceId);
}

std::wstring CLibraryCaller::GateName() const {
    return ServiceEventName(m_strMark, m_strServiceId);
}
