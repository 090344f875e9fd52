#include "tests/unit/host/host_fixture.h"

#include <chrono>

#include "foundation/text_helpers.h"
#include "host/message_window.h"
#include "ipc/transport/pipe_names.h"
#include "support/http/wininet_api.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::chrono::seconds kWait{20};

// Pulls every fetch down before it reaches the network.
const WinInetApi kNoNetwork = [] {
    WinInetApi api = {};
    api.CrackUrl = [](LPCWSTR, DWORD, DWORD, LPURL_COMPONENTSW) -> BOOL { return FALSE; };
    return api;
}();

std::mutex g_lockStarted;
std::condition_variable g_startedChanged;
StartedThreads g_started;

DWORD Count(int StartedThreads::*counter) {
    const std::lock_guard guard(g_lockStarted);
    ++(g_started.*counter);
    g_startedChanged.notify_all();
    return 0;
}

}  // namespace

const HostThreads kCountingThreads = {
    [](void* host) -> DWORD { return host != nullptr ? Count(&StartedThreads::nHangWatcher) : 0; },
    [](void* nothing) -> DWORD { return nothing == nullptr ? Count(&StartedThreads::nMonCPUUsage) : 0; },
    [](void* host) -> DWORD { return host != nullptr ? Count(&StartedThreads::nConfInfo) : 0; },
    kHostThreads.pfnStart,
    [] { ADD_FAILURE() << "the start took too long"; },
    kHostThreads.nStartLimitMs * 10,
};

bool WaitForWatchdogs() {
    std::unique_lock guard(g_lockStarted);
    return g_startedChanged.wait_for(guard, kWait,
                                     [] { return g_started.nHangWatcher >= 1 && g_started.nMonCPUUsage >= 1; });
}

StartedThreads WaitForStartedThreads(int count) {
    std::unique_lock guard(g_lockStarted);
    g_startedChanged.wait_for(guard, kWait, [count] {
        return g_started.nHangWatcher >= count && g_started.nMonCPUUsage >= count && g_started.nConfInfo >= count;
    });
    return g_started;
}

CCallerEnd::CCallerEnd(const std::wstring& mark, const std::string& serviceId) : m_pServer(CIOCP_Server::Create()) {
    // The server's share in its sink is empty: this object outlives the server's worker.
    m_pServer->SetCallback(std::shared_ptr<IPipeConnectCallback>(std::shared_ptr<void>(), this));
    m_pServer->SetNames(ServicePipeName(mark, serviceId), ServiceEventName(mark, serviceId));
    m_pServer->StartThread();
    m_pServer->CreateListener();
}

CCallerEnd::~CCallerEnd() {
    m_pServer->Stop();
    m_pServer->WaitForThread();
}

std::uint32_t CCallerEnd::Received(const unsigned char* data, std::int32_t length) {
    const std::lock_guard guard(m_lock);
    m_vecFrames.emplace_back(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
    m_changed.notify_all();
    return 1;
}

std::vector<std::string> CCallerEnd::WaitForFrames(std::size_t count) {
    std::unique_lock guard(m_lock);
    m_changed.wait_for(guard, kWait, [&] { return m_vecFrames.size() >= count; });
    return m_vecFrames;
}

// Never freed: a watcher thread that has been told to stop may still take a lock of its host.
static CommzoltHelperS& MakeHost() {
    static auto& hosts = *new std::vector<std::unique_ptr<CommzoltHelperS>>;
    return *hosts.emplace_back(std::make_unique<CommzoltHelperS>(kCountingThreads));
}

CHostFixture::CHostFixture() : m_mark(UniqueName(L"host")), m_host(MakeHost()) {
    OverrideWinInetApi(&kNoNetwork);
    g_started = {};
    g_hWnd.store(nullptr);
    g_hMsgWnd.store(nullptr);
    g_nExitTimerId.store(0);
    g_nCheckTimerId.store(0);
    g_nStatusTimerId.store(0);
}

CHostFixture::~CHostFixture() {
    // A thread that has been started counts for this test and not for the next one.
    WaitForStartedThreads(static_cast<int>(m_log.Count("InitConfInfoThread create success")));
    if (const HWND window = g_hMsgWnd.exchange(nullptr)) {
        DestroyWindow(window);
    }
    TakeQuitMessage();
}

std::wstring CHostFixture::CommandLine() const {
    return L"/from:" + m_mark + L" /service_id:first";
}

int CHostFixture::Receive(const std::string& message) {
    return m_host.ReceiveIPCMessage(reinterpret_cast<const unsigned char*>(message.c_str()),
                                    static_cast<int>(message.size()));
}

bool CHostFixture::TakeQuitMessage() {
    MSG message;
    return PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != FALSE;
}

void CHostFixture::SetParam(const std::string& serviceId, std::int32_t taskOp, std::int32_t dllOp,
                            std::int32_t destroyOp) {
    m_host.SetInstanceParam(serviceId, {.nTaskOp = taskOp, .nDllOp = dllOp, .nDestroyOp = destroyOp}, CNeverStops());
}
