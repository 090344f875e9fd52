// The caller's side of a service: a real pipe with its gate event, read and written frame by frame.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/handle.h"

class CCallerPipe {
  public:
    // Serves one instance of the pipe under these names; an empty event name makes no gate.
    CCallerPipe(const std::wstring& strPipeName, const std::wstring& strEventName);
    CCallerPipe(const CCallerPipe&) = delete;
    CCallerPipe& operator=(const CCallerPipe&) = delete;
    // Cancels what is pending and closes.
    ~CCallerPipe();

    // Waits for the service to connect. False when it does not.
    bool WaitForClient();
    // Whether the service has connected so far.
    bool HasClient();

    // Sends the envelope {"content":CONTENT,"message_type":TYPE} as one frame.
    void Request(int nType, std::string_view content);
    // The payload of the next frame. Nothing when the connection ended.
    std::optional<std::string> Receive();

    // Ends the connection and takes the pipe away.
    void Close();

  private:
    bool Read(void* data, std::uint32_t length);
    bool Finish(OVERLAPPED& overlapped, BOOL bStarted, std::uint32_t& nBytes);

    CFileHandle m_hPipe;
    CKernelHandle m_hGate;
    CKernelHandle m_hConnected;
    CKernelHandle m_hDone;
    OVERLAPPED m_connect{};
};
