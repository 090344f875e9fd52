// A stand-in for the helper on a caller's pipe: connects, sends the ready notice, and answers as a test says.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <json/value.h>

#include "client/native_lock.h"
#include "foundation/handle.h"
#include "ipc/protocol/message_type.h"
#include "world/helper/pipe_peer.h"
#include "world/helper/scripted_request.h"

class CScriptedHelper {
  public:
    // Gives the payloads to answer a request with, in order; none is silence. Runs on the helper's thread.
    using Script = std::function<std::vector<std::string>(const ScriptedRequest& request)>;

    CScriptedHelper() = default;
    ~CScriptedHelper() { Leave(); }
    CScriptedHelper(const CScriptedHelper&) = delete;
    CScriptedHelper& operator=(const CScriptedHelper&) = delete;

    // Opens the pipe, which is waited for, sends the ready notice, and answers from then on. False when no caller
    // serves the pipe.
    bool Come(const std::wstring& pipeName, Script script, bool notice = true);
    // Before Come: what the helper's thread does first of all, in place of a notice.
    void SetGreeting(std::function<void()> greeting) { m_greeting = std::move(greeting); }
    // Ends the connection, also in the middle of a wait. It may come again.
    void Leave();
    // Sends a frame without a request. Not while the script is answering.
    bool Say(const std::string& payload);

    // For a script, while it answers: bytes unchanged; a pause, false when Leave has ended it; the end of the
    // connection, after which nothing is read any more.
    bool SayBytes(std::string_view bytes);
    bool Pause(std::uint32_t timeMs);
    void HangUp() { m_pipe.Close(); }

    // Returns once the connection has ended, from either side.
    void WaitForEnd();

    // Waits until so many requests have come.
    bool WaitForRequests(std::size_t count);
    std::vector<ScriptedRequest> Requests() const;

    // The envelope of a reply: the request's content with further keys.
    static std::string Reply(MessageType type, const ScriptedRequest& request, const Json::Value& further);
    static std::string Reply(MessageType type, const ScriptedRequest& request, const char* key, const char* text);

  private:
    void Serve();

    CPipePeer m_pipe;
    CKernelHandle m_hStop;
    Script m_script;
    std::function<void()> m_greeting;
    std::thread m_thread;

    mutable CNativeLock m_lock;
    CNativeCondition m_changed;
    std::vector<ScriptedRequest> m_requests NXL_GUARDED_BY(m_lock);
};
