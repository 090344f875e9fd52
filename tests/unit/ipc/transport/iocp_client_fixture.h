// A client on a real pipe, with a raw server at the other end.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ipc/transport/iocp_client.h"
#include "tests/support/raw_pipe.h"
#include "tests/unit/ipc/transport/recording_sink.h"

class CIocpClientFixture : public testing::Test {
  protected:
    ~CIocpClientFixture() override {
        if (m_pClient) {
            m_pClient->Stop();
            m_pClient->WaitForThread();
        }
    }

    // A server instance without a client, and a client that knows its name.
    void Serve() {
        m_server = CRawPipe::Serve(m_strPipe, /*nMaxInstances=*/1);
        ASSERT_TRUE(m_server.valid()) << GetLastError();
    }

    // Connected, worker running, first read posted.
    void ServeAndConnect() {
        Serve();
        ASSERT_EQ(m_pClient->CreateClientContext(), 1);
        ASSERT_TRUE(m_server.WaitForClient());
        ASSERT_TRUE(m_pClient->StartThread());
        ASSERT_EQ(m_pClient->PostRead(), 1);
    }

    // The client closes the worker's handle when it has seen it end, so tests wait on one of their own.
    static CKernelHandle DuplicateHandleOf(HANDLE hThread) {
        HANDLE hDuplicate = nullptr;
        DuplicateHandle(GetCurrentProcess(), hThread, GetCurrentProcess(), &hDuplicate, SYNCHRONIZE,
                        /*bInheritHandle=*/FALSE, 0);
        return CKernelHandle(hDuplicate);
    }
    CKernelHandle DuplicateWorker() const { return DuplicateHandleOf(m_pClient->Thread()); }

    static bool IsSet(const CKernelHandle& event) { return WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0; }

    // The service's gate as its caller makes it.
    CKernelHandle MakeGate() const {
        return CKernelHandle(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/TRUE, m_strEvent.c_str()));
    }

    const std::wstring m_strPipe = UniquePipeName();
    const std::wstring m_strEvent = UniqueEventName();
    CRawPipe m_server;
    std::shared_ptr<CRecordingSink> m_pSink = std::make_shared<CRecordingSink>();
    std::shared_ptr<CIOCP_Client> m_pClient = [this] {
        std::shared_ptr<CIOCP_Client> pClient = CIOCP_Client::Create();
        pClient->SetCallback(m_pSink);
        pClient->SetNames(m_strPipe, m_strEvent);
        return pClient;
    }();
};
