// The caller of the end-to-end tests: nexlet_client.dll with the operations of CCaller, which tests that send broken
// frames use in its place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <json/value.h>

#include "client/caller.h"
#include "client/include/nexlet_client.hpp"
#include "foundation/handle.h"

class CLibraryCaller {
  public:
    CLibraryCaller(std::wstring strMark, std::string strServiceId);

    CallerResult Open();
    void Close() { m_client.Close(); }

    // Starts the program, also when a helper runs: the tests look at what a second start does.
    CallerResult StartHelper(HelperStart start);

    CallerResult Send(int nType, const Json::Value& content, std::uint32_t timeoutMs);
    CallerResult SendPayload(std::string_view payload, std::uint32_t timeoutMs);
    CallerResult WaitForFrame(int nType, std::uint32_t timeoutMs, ReceivedFrame& frame);
    CallerResult WaitForConnection(std::uint32_t timeoutMs);
    CallerResult WaitForLoss(std::uint32_t timeoutMs);

    bool Connected() const { return m_client.Helper().connected != 0; }
    std::uint32_t Connections() const { return m_client.Helper().connections; }
    DWORD ProcessId() const { return m_client.Helper().process_id; }
    HANDLE ProcessHandle() const { return m_hProcess.get(); }
    DWORD SystemError() const { return m_dwSystemError; }

    const std::string& ServiceId() const { return m_strServiceId; }
    std::wstring PipeName() const;
    std::wstring GateName() const;

  private:
    const std::wstring m_strMark;
    const std::string m_strServiceId;
    CNexletClient m_client;
    CKernelHandle m_hProcess;
    DWORD m_dwSystemError = 0;
};
