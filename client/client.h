// One client of the library: a caller, the turns of its requests, and its callbacks. The C interface in
// client/include/nexlet_client.h stands on it and documents what each operation does.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "client/caller.h"
#include "client/include/nexlet_client.h"
#include "client/turn.h"

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

    // A request that has a reply, whose content comes back without the call's number.
    CallerResult Call(int nType, Json::Value content, std::uint32_t timeoutMs, Json::Value& reply);

    CCaller& Caller() { return m_caller; }
    bool Forwarded() const { return m_caller.Forwarded(); }
    // Whether the calling thread is inside a callback of this client.
    bool InCallback() const;

  private:
    static constexpr int kFirstCall = 2;
    static constexpr int kLastCall = 7;

    class CCallbackScope;

    // Whether the notice that ends a start has come.
    CallerResult WaitForNotice(std::uint32_t timeoutMs);
    bool Forward(const std::wstring& commandLine, const CDeadline& deadline);
    // Until the helper has connected, for which it may have to let go of an earlier run of this service.
    CallerResult Bring(const HelperStart& start, const std::wstring& commandLine, const CDeadline& deadline);

    void CloseTurns();

    const nexlet_client m_nHandle;
    void* const m_pContext;
    const decltype(nexlet_options::on_gone) m_pfnGone;
    const decltype(nexlet_options::on_frame) m_pfnFrame;

    CTurn m_turnStart;
    std::array<CTurn, kLastCall - kFirstCall + 1> m_turns;  // one a type of request
    std::atomic<bool> m_bClosed{false};

    mutable CNativeLock m_lockCallbacks;
    std::vector<DWORD> m_vecCallbackThreads;  // guarded by m_lockCallbacks

    CCaller m_caller;  // the last member: its threads call the others until it is closed
};
