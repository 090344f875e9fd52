#include <cstdlib>
#include <thread>
#include <vector>

#include <uv.h>

#include "bench/peers/pipe_peer.h"
#include "foundation/text_helpers.h"

namespace {

class CLibuvPeer;

struct Connection {
    CLibuvPeer* pPeer = nullptr;
    uv_pipe_t pipe{};
    uv_connect_t connect{};
    uv_write_t write{};
    char buffer[4096];
    std::size_t nGot = 0;
    bool bConnected = false;
};

class CLibuvPeer final : public IPipePeer {
  public:
    CLibuvPeer(std::size_t requestSize, const std::string& reply) : m_nRequest(requestSize), m_strReply(reply) {
        uv_loop_init(&m_loop);
    }
    ~CLibuvPeer() override {
        if (m_thread.joinable()) {
            m_thread.join();
        }
        uv_loop_close(&m_loop);
    }

    bool Connect(const std::wstring& name) override {
        auto connection = std::make_unique<Connection>();
        connection->pPeer = this;
        uv_pipe_init(&m_loop, &connection->pipe, /*ipc=*/0);
        connection->pipe.data = connection.get();
        connection->connect.data = connection.get();
        uv_pipe_connect(&connection->connect, &connection->pipe, Utf16ToUtf8(name).c_str(), OnConnect);
        while (connection->connect.cb != nullptr && !connection->bConnected) {
            if (uv_run(&m_loop, UV_RUN_NOWAIT) == 0) {
                return false;
            }
        }
        m_vecConnections.push_back(std::move(connection));
        return true;
    }
    void Start() override {
        m_thread = std::thread([this] { uv_run(&m_loop, UV_RUN_DEFAULT); });
    }

  private:
    static void OnConnect(uv_connect_t* connect, int status) {
        auto& connection = *static_cast<Connection*>(connect->data);
        if (status < 0) {
            uv_close(reinterpret_cast<uv_handle_t*>(&connection.pipe), nullptr);
            return;
        }
        connection.bConnected = true;
        uv_read_start(reinterpret_cast<uv_stream_t*>(&connection.pipe), OnBuffer, OnRead);
    }
    static void OnBuffer(uv_handle_t* handle, std::size_t, uv_buf_t* buffer) {
        auto& connection = *static_cast<Connection*>(handle->data);
        *buffer = uv_buf_init(connection.buffer, sizeof connection.buffer);
    }
    static void OnRead(uv_stream_t* stream, ssize_t nRead, const uv_buf_t*) {
        auto& connection = *static_cast<Connection*>(stream->data);
        const CLibuvPeer& peer = *connection.pPeer;
        if (nRead < 0) {
            uv_close(reinterpret_cast<uv_handle_t*>(stream), nullptr);
            return;
        }
        connection.nGot += static_cast<std::size_t>(nRead);
        if (connection.nGot >= peer.m_nRequest) {
            connection.nGot -= peer.m_nRequest;
            const uv_buf_t reply =
                uv_buf_init(const_cast<char*>(peer.m_strReply.data()), static_cast<unsigned>(peer.m_strReply.size()));
            uv_write(&connection.write, stream, &reply, 1, nullptr);
        }
    }

    const std::size_t m_nRequest;
    const std::string& m_strReply;
    uv_loop_t m_loop{};
    std::vector<std::unique_ptr<Connection>> m_vecConnections;
    std::thread m_thread;
};

}  // namespace

std::unique_ptr<IPipePeer> MakeLibuvPeer(std::size_t requestSize, const std::string& reply) {
    return std::make_unique<CLibuvPeer>(requestSize, reply);
}
