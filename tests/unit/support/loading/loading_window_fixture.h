// What the tests of the loading window share: pops on threads of their own, and what the screen shows.
#pragma once

#include "tests/support/http_test_server.h"

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "support/http/http_transfer.h"
#include "support/http/wininet_api.h"
#include "support/loading/loading_window.h"
#include "support/loading/wx_loading_wnd.h"
#include "tests/support/log_capture.h"
#include "tests/support/screen_windows.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"
#include "tests/support/unique_name.h"
#include "tests/unit/support/picture/picture_files.h"

// One pop on a thread of its own.
class CPop {
  public:
    explicit CPop(LoadingWindowRequest request)
        : m_thread([this, request = std::move(request)] {
              m_nThreadId = GetCurrentThreadId();
              ShowLoadingWindow(request);
              m_bEnded = true;
          }) {}
    ~CPop() {
        if (const HWND window = Window()) {
            PostMessageW(window, WM_CLOSE, 0, 0);
        }
        m_thread.join();
    }
    CPop(const CPop&) = delete;
    CPop& operator=(const CPop&) = delete;

    HWND Window() const { return m_nThreadId != 0 ? LoadingWindowOf(m_nThreadId) : nullptr; }
    // The window once it is on the screen, null when it does not come.
    HWND Shown() const {
        HWND window = nullptr;
        WaitUntil([&] { return m_bEnded || ((window = Window()) != nullptr && IsWindowVisible(window)); });
        return window;
    }
    bool WaitForEnd() const {
        return WaitUntil([&] { return m_bEnded.load(); });
    }
    bool Ended() const { return m_bEnded; }

  private:
    std::atomic<DWORD> m_nThreadId{0};
    std::atomic<bool> m_bEnded{false};
    std::thread m_thread;
};

class LoadingWindowTest : public testing::Test {
  protected:
    ~LoadingWindowTest() override {
        OverrideWinInetApi(nullptr);
        g_nHttpTimeoutMs = kHttpTimeoutUnset;
    }

    // A pop whose window stays until it is closed, with a name and a title of its own.
    LoadingWindowRequest Request() const {
        return {Utf16ToUtf8(m_name), Utf16ToUtf8(m_title), Utf16ToUtf8(m_server.Url(L"/icon.png")), 600'000};
    }
    // Keeps every answer back until the event is set.
    void HoldReplies(const CKernelHandle& gate) {
        m_reply.nBytesBeforeGate = 0;
        m_reply.hGate = gate.get();
    }
    static std::filesystem::path IconFolder() {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        return std::filesystem::path(folder) / L"NxlIconCache";
    }
    std::filesystem::path IconFile() const { return IconFolder() / (m_name + L".png"); }
    static std::string Text(const std::filesystem::path& path) { return Utf16ToUtf8(path.wstring()); }

    void TearDown() override {
        SetFileAttributesW(IconFile().c_str(), FILE_ATTRIBUTE_NORMAL);  // one that a failed test left read-only
        std::filesystem::remove(IconFile());
    }

    const std::wstring m_name = UniqueName(L"应用");
    const std::wstring m_title = UniqueName(L"awaited");
    ScopedInternetProxy m_direct{0};
    HttpTestReply m_reply = HttpTestReply::Of(404);
    HttpTestServer m_server{[this](const HttpTestRequest&) { return m_reply; }};
    LogCapture m_log;
};

inline constexpr std::uint32_t kRed = 0xFF0000;
inline constexpr std::uint32_t kBlue = 0x0000FF;

inline std::string FlatPicture(std::uint32_t colour) {
    const pictures::Bytes bytes = pictures::TwoColourBmp(40, 40, colour, colour);
    return std::string(bytes.begin(), bytes.end());
}
