#include "host/remote_config.h"

#include <cstdio>
#include <ctime>

#include "foundation/handle.h"
#include "foundation/late_shlwapi.h"
#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "host/remote_config_rule.h"
#include "support/http/http_transfer.h"

#include <settings.h>

namespace {

constexpr wchar_t kInfoUrl[] = L"http://" NEXLET_INFO_HOST L"/wxzolt/info.txt";
constexpr DWORD kWakeUpMs = 3 * 60 * 60 * 1000;
static_assert(kWakeUpMs == 10800000);

void WriteConfigValue(const wchar_t* name, DWORD value) {
    Late::SHSetValueW(HKEY_CURRENT_USER, kRemoteConfigKey, name, REG_DWORD, &value, sizeof(value));
}

// 0 when nothing was stored yet.
std::uint32_t ReadLastInfoTime() {
    DWORD value = 0;
    DWORD size = sizeof(value);
    const auto status =
        Late::SHGetValueW(HKEY_CURRENT_USER, kRemoteConfigKey, kLastInfoTimeValue, nullptr, &value, &size);
    return status == ERROR_SUCCESS ? value : 0;
}

// True when the whole file arrived.
bool FetchInfo(std::string& text) {
    g_nHttpTimeoutMs.store(kHttpShortTimeoutMs);
    COvHttpTransfer transfer;
    transfer.SetRequest(kInfoUrl, &HttpContextText, &text);
    return transfer.Execute() == kHttpOk;
}

}  // namespace

std::uint32_t HttpContextText(std::uint32_t status, const void* data, std::uint32_t size, void* context) {
    if (size == 0 || context == nullptr) {
        return 1;
    }
    if (status != static_cast<std::uint32_t>(kHttpOk) || data == nullptr) {
        NXL_LOG(L"[%s(%d)] Failed or empty response, status::  %d", status);
        return 1;
    }
    static_cast<std::string*>(context)->append(static_cast<const char*>(data), size);
    const std::string line = "Received text chunk, size: " + std::to_string(size) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    // The process ends without writing out what the run-time holds.
    std::fflush(stdout);
    NXL_LOG(L"[%s(%d)] IReceived text chunk, size:  %d", size);
    return 0;
}

void ParseInfo(const std::string& text) {
    if (text.empty()) {
        return;
    }
    const RemoteConfig config = ReadRemoteConfig(text);
    if (!config.bParsed) {
        NXL_LOG(L"[%s(%d)] parse error");
        return;
    }
    if (config.nAppShortcutCreate) {
        NXL_LOG(L"[%s(%d)] appShortcut create [%d]", *config.nAppShortcutCreate);
        WriteConfigValue(kAppShortcutCreateValue, *config.nAppShortcutCreate);
    }
}

DWORD ConfInfoThreadFunc(void* host, ConfInfoWait wait) {
    NXL_LOG(L"[%s(%d)] ConfInfoThreadFunc begin");
    if (host == nullptr) {
        return 0;
    }
    // Nothing signals this event: waiting on it is the thread's timer.
    const CKernelHandle timer(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/FALSE, nullptr));
    if (!timer) {
        const DWORD error = GetLastError();
        NXL_LOG(L"[%s(%d)] CreateEvent failed, error=%d", error);
        return 0;
    }
    std::uint32_t lastFetch = ReadLastInfoTime();
    do {
        const auto now = static_cast<std::uint32_t>(std::time(nullptr));
        if (!IsRemoteConfigDue(now, lastFetch)) {
            continue;
        }
        std::string text;
        if (FetchInfo(text)) {
            NXL_LOG(L"[%s(%d)] HttpContextText success");
            NXL_LOG(L"[%s(%d)] strData: %s", Utf8ToUtf16(text).c_str());
            ParseInfo(text);
            // Whatever the text held: a broken file is asked for again a day later, not at the next wake-up.
            WriteConfigValue(kLastInfoTimeValue, now);
            lastFetch = now;
        } else {
            NXL_LOG(L"[%s(%d)] HttpContextText error");
        }
    } while (wait(timer.get(), kWakeUpMs));
    return 0;
}

DWORD WINAPI ConfInfoThreadFunc(void* host) {
    return ConfInfoThreadFunc(host, [](HANDLE timer, DWORD milliseconds) {
        WaitForSingleObject(timer, milliseconds);
        return true;
    });
}
