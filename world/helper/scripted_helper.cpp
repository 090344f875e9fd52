#include "world/helper/scripted_helper.h"

#include "client/deadline.h"
#include "ipc/transport/frame.h"

namespace {

constexpr DWORD kWaitMs = 20000;
constexpr std::uint32_t kForeverMs = 0xFFFFFFFEu;

}  // namespace

bool CScriptedHelper::Come(const std::wstring& pipeName, Script script, bool notice) {
    Leave();
    const ULONGLONG startedAt = GetTickCount64();
    while (!m_pipe.Open(pipeName)) {
        if (m_pipe.LastError() != ERROR_PIPE_BUSY || GetTickCount64() - startedAt > kWaitMs) {
            return false;
        }
        WaitNamedPipeW(pipeName.c_str(), kWaitMs);
    }
    m_script = std::move(script);
    m_hStop.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_pipe.StopOn(m_hStop.get());
    if (notice && !Say(kReadyNotice)) {
        return false;
    }
    m_thread = std::thread([this] { Serve(); });
    return true;
}

void CScriptedHelper::Leave() {
    if (m_thread.joinable()) {
        SetEvent(m_hStop.get());
    }
    WaitForEnd();
}

bool CScriptedHelper::Say(const std::string& payload) {
    return SayBytes(BuildFrame(payload));
}

bool CScriptedHelper::SayBytes(std::string_view bytes) {
    return m_pipe.Write(bytes);
}

bool CScriptedHelper::Pause(std::uint32_t timeMs) {
    return WaitForSingleObject(m_hStop.get(), timeMs) == WAIT_TIMEOUT;
}

void CScriptedHelper::WaitForEnd() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_pipe.Close();
}

void CScriptedHelper::Serve() {
    if (m_greeting) {
        m_greeting();
    }
    for (;;) {
        std::string payload = m_pipe.ReadFrame(kForeverMs);
        if (m_pipe.Failed()) {
            return;
        }
        const ScriptedRequest request = ReadScriptedRequest(std::move(payload));
        {
            const CNativeGuard guard(m_lock);
            m_requests.push_back(request);
        }
        m_changed.NotifyAll();
        for (const std::string& answer : m_script(request)) {
            Say(answer);
        }
    }
}

bool CScriptedHelper::WaitForRequests(std::size_t count) {
    const CDeadline deadline(kWaitMs);
    CNativeHold hold(m_lock);
    while (m_requests.size() < count && !deadline.Passed()) {
        m_changed.Wait(hold, deadline.RemainingMs());
    }
    return m_requests.size() >= count;
}

std::vector<ScriptedRequest> CScriptedHelper::Requests() const {
    const CNativeGuard guard(m_lock);
    return m_requests;
}

std::string CScriptedHelper::Reply(MessageType type, const ScriptedRequest& request, const Json::Value& further) {
    return ScriptedReply(static_cast<int>(type), request, further);
}

std::string CScriptedHelper::Reply(MessageType type, const ScriptedRequest& request, const char* key,
                                   const char* text) {
    Json::Value further(Json::objectValue);
    further[key] = text;
    return Reply(type, request, further);
}
