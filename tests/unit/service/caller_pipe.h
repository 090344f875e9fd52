// The caller's side of a service: a pipe with its gate event, spoken to in envelopes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/message_number.h"
#include "tests/support/raw_pipe.h"

class CCallerPipe {
  public:
    // Serves one instance of the pipe under these names; an empty event name makes no gate.
    CCallerPipe(const std::wstring& strPipeName, const std::wstring& strEventName)
        : m_pipe(CRawPipe::Serve(strPipeName)) {
        EXPECT_TRUE(m_pipe.valid()) << "no pipe: " << GetLastError();
        if (!strEventName.empty()) {
            m_hGate.reset(CreateEventW(nullptr, /*bManualReset=*/TRUE, /*bInitialState=*/TRUE, strEventName.c_str()));
        }
    }

    // Waits for the service to connect. False when it does not.
    bool WaitForClient() { return m_pipe.WaitForClient(); }
    // Whether the service has connected so far.
    bool HasClient() { return m_pipe.WaitForClient(0); }

    // Sends the envelope {"content":CONTENT,"message_type":TYPE} as one frame.
    void Request(MessageType type, std::string_view content) {
        std::string payload("{\"content\":");
        payload.append(content).append(",\"message_type\":").append(std::to_string(Number(type))).append("}");
        EXPECT_TRUE(m_pipe.WriteFrame(payload)) << payload;
    }

    // The payload of the next frame. Nothing when the connection ended.
    std::optional<std::string> Receive() { return m_pipe.ReadFrame(); }

    // Ends the connection and takes the pipe away.
    void Close() { m_pipe.Close(); }

  private:
    CRawPipe m_pipe;
    CKernelHandle m_hGate;
};
