// An instance on a host with a real table, its caller's names, and the proof that no thread is left.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include "foundation/windows_headers.h"

#include <tlhelp32.h>

#include "foundation/text_helpers.h"
#include "service/service_instance.h"
#include "tests/support/log_capture.h"
#include "tests/unit/service/caller_pipe.h"
#include "tests/unit/service/table_host.h"

// Waits until condition holds. False when it does not for longer than anything here takes.
inline bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// The threads of this process.
inline int ThreadCount() {
    const CFileHandle hSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    int count = 0;
    for (BOOL more = Thread32First(hSnapshot.get(), &entry); more; more = Thread32Next(hSnapshot.get(), &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

class ServiceFixture : public testing::Test {
  protected:
    ServiceFixture() { m_pInstance = WxMiniProgramServiceEx::Create(m_strId, &m_host); }

    // The host lives as long as the watchers do: it is not left before they are gone. A test that has failed already
    // may have left anything.
    ~ServiceFixture() override {
        Drop();
        if (!HasFailure()) {
            EXPECT_TRUE(NoThreadLeft()) << "a thread outlives its instance:\n" << m_log.All();
        }
    }

    // As the host does it, and then lets the instance go.
    void Drop() {
        if (m_pInstance != nullptr) {
            const CAutoLock instances(&m_host.m_lockInstance);
            const CAutoLock params(&m_host.m_lockParam);
            m_pInstance->Destroy();
            m_host.m_mInstanceParam.erase(m_strId);
            m_pInstance.reset();
        }
    }

    bool NoThreadLeft() {
        return Eventually([this] { return ThreadCount() <= m_nThreads; });
    }

    // Serves the caller's pipe and initialises the instance on it.
    void Connect() {
        m_pCaller = std::make_unique<CCallerPipe>(PipeName(), EventName());
        Init();
        ASSERT_TRUE(m_pCaller->WaitForClient()) << m_log.All();
    }

    void Init() {
        const CAutoLock guard(&m_host.m_lockInstance);
        m_pInstance->Init(kConfig, L"C:\\sdk", m_strMark);
    }

    bool WaitForLine(std::string_view line, std::size_t count = 1) {
        return Eventually([this, line, count] { return m_log.Count(line) >= count; });
    }

    // The names as a caller builds them.
    std::wstring PipeName() const {
        return L"\\\\.\\pipe\\NamedPipezoltService_INSTANCE_" + m_strMark + L"_" + m_strWideId;
    }
    std::wstring EventName() const { return L"Global\\NamedEventzoltService_" + m_strMark + L"_" + m_strWideId; }

    static constexpr const char* kConfig = R"({"channel_id":"7"})";

    // Before anything of this test has a thread.
    const int m_nThreads = ThreadCount();
    const std::wstring m_strMark = L"svc" + std::to_wstring(GetCurrentProcessId());
    const std::string m_strId = "42";
    const std::wstring m_strWideId = L"42";
    LogCapture m_log;
    CTableHost m_host;
    std::unique_ptr<CCallerPipe> m_pCaller;
    std::shared_ptr<WxMiniProgramServiceEx> m_pInstance;
};
