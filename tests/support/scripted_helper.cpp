#include "tests/support/scripted_helper.h"

#include <chrono>

#include "foundation/json_text.h"
#include "ipc/envelope.h"
#include "ipc/frame.h"

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
    if (notice && !Say(R"({"content":{"p1":"1"},"message_type":12})")) {
        return false;
    }
    m_thread = std::thread([this] { Serve(); });
    return true;
}

void CScriptedHelper::Leave() {
    if (m_thread.joinable()) {
        SetEvent(m_hStop.get());
        m_thread.join();
    }
    m_pipe.Close();
}

bool CScriptedHelper::Say(const std::string& payload) {
    return m_pipe.Write(BuildFrame(payload));
}

void CScriptedHelper::Serve() {
    for (;;) {
        ScriptedRequest request;
        request.strPayload = m_pipe.ReadFrame(kForeverMs);
        if (m_pipe.Failed()) {
            return;
        }
        Json::Value root;
        if (ParseJson(request.strPayload, root) && root.isObject()) {
            request.nType = root["message_type"].isInt() ? root["message_type"].asInt() : 0;
            request.content = root["content"];
        }
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_requests.push_back(request);
        }
        m_changed.notify_all();
        for (const std::string& payload : m_script(request)) {
            Say(payload);
        }
    }
}

bool CScriptedHelper::WaitForRequests(std::size_t count) {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, std::chrono::milliseconds(kWaitMs), [&] { return m_requests.size() >= count; });
}

std::vector<ScriptedRequest> CScriptedHelper::Requests() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_requests;
}

std::string CScriptedHelper::Reply(int nType, const ScriptedRequest& request, const Json::Value& further) {
    Json::Value content = request.content;
    for (const std::string& key : further.getMemberNames()) {
        content[key] = further[key];
    }
    return WriteEnvelope(nType, std::move(content));
}

std::string CScriptedHelper::Reply(int nType, const ScriptedRequest& request, const char* key, const char* text) {
    Json::Value further(Json::objectValue);
    further[key] = text;
    return Reply(nType, request, further);
}
