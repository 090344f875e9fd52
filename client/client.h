// One client of the library: a caller, the turns of its requests, and its callbacks. The C interface in
// client/include/nexlet_client.h is built on it and documents what each operation does.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/caller.h"
#include "client/include/nexlet_client.h"
#include "client/request_line.h"
#include "client/turn.h"
#include "foundation/thread_annotations.h"

// The longest service id that a client makes for itself.
inline constexpr std::size_t kUniqueIdChars = 32;

struct ClientStart {
    HelperStart start;  // mark and service id are the client's own
    std::uint32_t nFlags = 0;
};

// Every operation on any thread, but none during the destructor.
class CClient {
  public:
    CClient(nexlet_client nHandle, const nexlet_options& options);
    ~CClient() { Close(); }
    CClient(const CClient&) = delete;
    CClient& operator=(const CClient&) = delete;

    CallerResult Open() { return m_caller.Open(); }
    CallerResult Start(const ClientStart& start, std::uint32_t timeoutMs);
    CallerResult Exit(std::uint32_t timeoutMs, bool& ended);
    void Shutdown();
    void Close();

    // A request that has a reply, whose content comes back without the call's number: one on Line that is waited for.
    CallerResult Call(int nType, Json::Value content, std::uint32_t timeoutMs, Json::Value& reply);
    // One to begin on Line. done, which may be empty, is a callback of the client.
    CallerResult MakeRequest(int nType, Json::Value content, std::uint32_t timeoutMs, CRequest::Done done,
                             std::shared_ptr<CRequest>& request);
    // Where requests are under way.
    const std::shared_ptr<CRequestLine>& Line() const { return m_pLine; }

    CCaller& Caller() { return m_caller; }
    bool Forwarded() const { return m_caller.Forwarded(); }
    // Calls the diagnostic callback when it wants this level. With no lock held.
    void Tell(std::int32_t level, const std::string& text);
    bool Tells(std::int32_t level) const { return m_pfnDiagnostic != nullptr && level <= m_nDiagnosticLevel; }

    // Whether the calling thread is inside a callback of this client, or inside a diagnostic one.
    bool InCallback(bool diagnostic = false) const;

  private:
    class CCallbackScope;
    struct Callback {
        DWORD dwThread;
        bool bDiagnostic;
    };

    // Whether a request of this type and content can be sent.
    static CallerResult CheckCall(int nType, const Json::Value& content);
    // What an open of the type miniApp, and a question for one, has to do with those of other clients.
    RequestRules RulesOf(int nType, const Json::Value& content, std::uint32_t timeoutMs);
    // Whether the notice that ends a start has come.
    CallerResult WaitForNotice(std::uint32_t timeoutMs);
    bool Forward(const std::wstring& commandLine, const CDeadline& deadline);
    // Until the helper has connected, for which it may have to let go of an earlier run of this service.
    CallerResult Bring(const HelperStart& start, const std::wstring& commandLine, const CDeadline& deadline);

    void BeginClose();
    CallerResult SendRequest(int nType, Json::Value content, std::uint32_t timeoutMs);

    const nexlet_client m_nHandle;
    void* const m_pContext;
    const decltype(nexlet_options::on_gone) m_pfnGone;
    const decltype(nexlet_options::on_frame) m_pfnFrame;
    const decltype(nexlet_options::on_diagnostic) m_pfnDiagnostic;
    const std::int32_t m_nDiagnosticLevel;

    CTurn m_turnStart;
    const std::shared_ptr<CRequestLine> m_pLine;
    std::atomic<bool> m_bClosed{false};

    mutable CNativeLock m_lockCallbacks;
    std::vector<Callback> m_vecCallbacks NXL_GUARDED_BY(m_lockCallbacks);  // under way

    CCaller m_caller;  // the last member: its threads call the others until it is closed
};
