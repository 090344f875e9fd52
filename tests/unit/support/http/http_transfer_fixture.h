// What the tests of a transfer share: a recording callback, a direct connection, single faults in the platform's table.
#pragma once

#include "tests/support/http_test_server.h"

#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "support/http/http_transfer.h"
#include "support/http/wininet_api.h"

// Answers every request alike.
inline HttpTestServer::Handler Always(HttpTestReply reply) {
    return [reply](const HttpTestRequest&) { return reply; };
}

// What the callback was told; the body is copied during the call.
struct TransferRecord {
    int nCalls = 0;
    std::uint32_t nStatus = 0xDEAD;
    bool bNullData = false;
    std::uint32_t nSize = 0xDEAD;
    std::string strBody;

    static std::uint32_t Record(std::uint32_t status, const void* data, std::uint32_t size, void* context) {
        auto& record = *static_cast<TransferRecord*>(context);
        ++record.nCalls;
        record.nStatus = status;
        record.bNullData = data == nullptr;
        record.nSize = size;
        record.strBody.assign(static_cast<const char*>(data), data != nullptr ? size : 0);
        return 0;
    }

    // Told once of a failure, as every failure is told.
    void ExpectFailure(std::int32_t result) const {
        EXPECT_EQ(nCalls, 1);
        EXPECT_EQ(nStatus, static_cast<std::uint32_t>(result));
        EXPECT_TRUE(bNullData);
        EXPECT_EQ(nSize, 0u);
    }

    // Told once of a whole body.
    void ExpectBody(const std::string& body) const {
        EXPECT_EQ(nCalls, 1);
        EXPECT_EQ(nStatus, 200u);
        EXPECT_EQ(nSize, body.size());
        EXPECT_EQ(bNullData, body.empty());
        EXPECT_TRUE(strBody == body) << "got " << strBody.size() << " bytes";
    }
};

// Asks the worker of an object to quit. It leaves the object alone once its thread has ended.
inline void EndHttpWorker(COvHttpTransfer& transfer) {
    const HANDLE own = transfer.m_hThread.load();
    HANDLE thread = nullptr;
    ASSERT_TRUE(
        DuplicateHandle(GetCurrentProcess(), own, GetCurrentProcess(), &thread, 0, FALSE, DUPLICATE_SAME_ACCESS));
    const CKernelHandle watched(thread);
    ASSERT_TRUE(PostThreadMessageW(transfer.m_dwThreadId.load(), WM_QUIT, 0, 0));
    ASSERT_EQ(WaitForSingleObject(thread, 60000), WAIT_OBJECT_0);
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    EXPECT_EQ(code, 0u);
}

class HttpTransferTest : public testing::Test {
  protected:
    HttpTransferTest() : m_api(*GetWinInetApi()) {}
    ~HttpTransferTest() override {
        OverrideWinInetApi(nullptr);
        g_nHttpTimeoutMs.store(kHttpTimeoutUnset);
    }

    // The result for url with a recording callback; the transfer is m_transfer.
    std::int32_t Fetch(const std::wstring& url) {
        m_record = {};
        EXPECT_EQ(m_transfer.SetRequest(url.c_str(), &TransferRecord::Record, &m_record), 1);
        return m_transfer.Execute();
    }

    // Puts m_api in force, with whatever the test has exchanged in it.
    void UseFaults() { OverrideWinInetApi(&m_api); }

    ScopedInternetProxy m_direct{0};
    WinInetApi m_api;
    COvHttpTransfer m_transfer;
    TransferRecord m_record;
};
