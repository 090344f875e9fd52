// A stand-in for the helper on a caller's pipe: connects, says that it is ready, and answers as a test tells it.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <json/value.h>

#include "foundation/handle.h"
#include "tests/support/pipe_peer.h"

// One request as it came. content is null when the payload is no envelope.
struct ScriptedRequest {
    int nType = 0;
    Json::Value content;
    std::string strPayload;
};

class CScriptedHelper {
  public:
    // Gives the payloads to answer a request with, in order; none is silence. Runs on the helper's thread.
    using Script = std::function<std::vector<std::string>(const ScriptedRequest& request)>;

    CScriptedHelper() = default;
    ~CScriptedHelper() { Leave(); }
    CScriptedHelper(const CScriptedHelper&) = delete;
    CScriptedHelper& operator=(const CScriptedHelper&) = delete;

    // Opens the pipe, which is waited for, sends the ready notice, and answers from then on. False when nobody serves
    // the pipe.
    bool Come(const std::wstring& pipeName, Script script, bool notice = true);
    // Ends the connection, also in the middle of a wait. It may come again.
    void Leave();
    // Sends a frame of its own accord. Not while the script is answering.
    bool Say(const std::string& payload);

    // Waits until so many requests have come.
    bool WaitForRequests(std::size_t count);
    std::vector<ScriptedRequest> Requests() const;

    // The envelope of a reply: the request's content with further keys.
    static std::string Reply(int nType, const ScriptedRequest& request, const Json::Value& further);
    static std::string Reply(int nType, const ScriptedRequest& request, const char* key, const char* text);

  private:
    void Serve();

    CPipePeer m_pipe;
    CKernelHandle m_hStop;
    Script m_script;
    std::thread m_thread;

    mutable std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    std::vector<ScriptedRequest> m_requests;
};
