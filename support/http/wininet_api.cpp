#include "support/http/wininet_api.h"
#include "foundation/late_library.h"

#include <atomic>
#include <utility>

namespace {

std::atomic<const WinInetApi*> g_pOverride{nullptr};

constinit CLateLibrary g_wininet(L"wininet.dll");

bool LoadApi(WinInetApi& api) {
    const HMODULE module = g_wininet.Load();
    return module != nullptr && ResolveFunction(module, "InternetCrackUrlW", api.CrackUrl) &&
           ResolveFunction(module, "InternetOpenW", api.Open) &&
           ResolveFunction(module, "InternetSetOptionW", api.SetOption) &&
           ResolveFunction(module, "InternetQueryOptionW", api.QueryOption) &&
           ResolveFunction(module, "InternetConnectW", api.Connect) &&
           ResolveFunction(module, "HttpOpenRequestW", api.OpenRequest) &&
           ResolveFunction(module, "HttpAddRequestHeadersW", api.AddHeadersW) &&
           ResolveFunction(module, "HttpAddRequestHeadersA", api.AddHeadersA) &&
           ResolveFunction(module, "HttpSendRequestW", api.SendRequest) &&
           ResolveFunction(module, "HttpQueryInfoW", api.QueryInfoW) &&
           ResolveFunction(module, "HttpQueryInfoA", api.QueryInfoA) &&
           ResolveFunction(module, "InternetReadFile", api.ReadFile) &&
           ResolveFunction(module, "InternetOpenUrlW", api.OpenUrl) &&
           ResolveFunction(module, "InternetErrorDlg", api.ErrorDialog) &&
           ResolveFunction(module, "InternetCloseHandle", api.CloseHandle);
}

}  // namespace

const WinInetApi kMissingWinInetApi{};

const WinInetApi* GetWinInetApi() {
    if (const WinInetApi* const api = g_pOverride.load()) {
        return api != &kMissingWinInetApi ? api : nullptr;
    }
    static WinInetApi api{};
    static const bool loaded = LoadApi(api);
    return loaded ? &api : nullptr;
}

void OverrideWinInetApi(const WinInetApi* api) {
    g_pOverride.store(api);
}

void CInternetHandle::reset(HINTERNET handle) {
    const HINTERNET old = std::exchange(m_hValue, handle);
    if (old != nullptr) {
        m_pApi->CloseHandle(old);
    }
}
