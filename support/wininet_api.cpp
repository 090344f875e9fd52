#include "support/wininet_api.h"

#include <atomic>
#include <utility>

namespace {

std::atomic<const WinInetApi*> g_pOverride{nullptr};

// A default load searches the folder of the program first, where anybody may have put a file of this name.
HMODULE LoadSystemLibrary(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    const UINT length = GetSystemDirectoryW(path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH || PathAppendW(path, name) == FALSE) {
        return nullptr;
    }
    return LoadLibraryExW(path, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

template <typename Function>
bool Resolve(HMODULE module, const char* name, Function& target) {
    target = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    return target != nullptr;
}

bool LoadApi(WinInetApi& api) {
    const HMODULE module = LoadSystemLibrary(L"wininet.dll");
    return module != nullptr && Resolve(module, "InternetCrackUrlW", api.CrackUrl) &&
           Resolve(module, "InternetOpenW", api.Open) && Resolve(module, "InternetSetOptionW", api.SetOption) &&
           Resolve(module, "InternetQueryOptionW", api.QueryOption) &&
           Resolve(module, "InternetConnectW", api.Connect) && Resolve(module, "HttpOpenRequestW", api.OpenRequest) &&
           Resolve(module, "HttpAddRequestHeadersW", api.AddHeadersW) &&
           Resolve(module, "HttpAddRequestHeadersA", api.AddHeadersA) &&
           Resolve(module, "HttpSendRequestW", api.SendRequest) && Resolve(module, "HttpQueryInfoW", api.QueryInfoW) &&
           Resolve(module, "HttpQueryInfoA", api.QueryInfoA) && Resolve(module, "InternetReadFile", api.ReadFile) &&
           Resolve(module, "InternetOpenUrlW", api.OpenUrl) && Resolve(module, "InternetErrorDlg", api.ErrorDialog) &&
           Resolve(module, "InternetCloseHandle", api.CloseHandle);
}

}  // namespace

const WinInetApi* GetWinInetApi() {
    if (const WinInetApi* const api = g_pOverride.load()) {
        return api;
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
