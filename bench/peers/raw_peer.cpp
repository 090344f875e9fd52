#include <memory>
#include <thread>
#include <vector>

#include "bench/peers/pipe_peer.h"
#include "foundation/handle.h"
#include "ipc/transport/io_buffer.h"

namespace {

// One connection: a port and a thread of its own as the helper's have, one read pending, the reply written where the
// request was read.
class CRawConnection {
  public:
    CRawConnection(std::size_t nRequest, const std::string& reply) : m_nRequest(nRequest), m_strReply(reply) {}
    ~CRawConnection() {
        if (m_thread.joinable()) {
            m_thread.join();  // ends when the caller has closed its end
        }
    }

    bool Open(const std::wstring& name) {
        m_hPort.reset(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 0));
        m_hPipe.reset(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_OVERLAPPED, nullptr));
        return m_hPipe.valid() && CreateIoCompletionPort(m_hPipe.get(), m_hPort.get(), 1, 0) != nullptr;
    }
    void Start() {
        m_thread = std::thread([this] { Work(); });
    }

  private:
    bool Read() {
        m_read = {};
        return ReadFile(m_hPipe.get(), m_buffer, sizeof m_buffer, nullptr, &m_read) ||
               GetLastError() == ERROR_IO_PENDING;
    }
    void Work() {
        std::size_t nGot = 0;
        if (!Read()) {
            return;
        }
        for (;;) {
            DWORD nBytes = 0;
            ULONG_PTR key = 0;
            OVERLAPPED* pDone = nullptr;
            if (!GetQueuedCompletionStatus(m_hPort.get(), &nBytes, &key, &pDone, INFINITE)) {
                return;
            }
            if (pDone != &m_read) {
                continue;
            }
            nGot += nBytes;
            const bool bWhole = nGot >= m_nRequest;
            if (!Read()) {
                return;
            }
            if (bWhole) {
                nGot -= m_nRequest;
                m_write = {};
                WriteFile(m_hPipe.get(), m_strReply.data(), static_cast<DWORD>(m_strReply.size()), nullptr, &m_write);
            }
        }
    }

    const std::size_t m_nRequest;
    const std::string& m_strReply;
    CKernelHandle m_hPort;
    CFileHandle m_hPipe;
    OVERLAPPED m_read{};
    OVERLAPPED m_write{};
    char m_buffer[PIPE_READ_CHUNK];
    std::thread m_thread;
};

class CRawPeer final : public IPipePeer {
  public:
    CRawPeer(std::size_t requestSize, const std::string& reply) : m_nRequest(requestSize), m_strReply(reply) {}

    bool Connect(const std::wstring& name) override {
        m_vecConnections.push_back(std::make_unique<CRawConnection>(m_nRequest, m_strReply));
        return m_vecConnections.back()->Open(name);
    }
    void Start() override {
        for (const auto& pConnection : m_vecConnections) {
            pConnection->Start();
        }
    }

  private:
    const std::size_t m_nRequest;
    const std::string& m_strReply;
    std::vector<std::unique_ptr<CRawConnection>> m_vecConnections;
};

}  // namespace

std::unique_ptr<IPipePeer> MakeRawPeer(std::size_t requestSize, const std::string& reply) {
    return std::make_unique<CRawPeer>(requestSize, reply);
}
