#include <thread>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/windows/stream_handle.hpp>
#include <boost/asio/write.hpp>

#include "bench/peers/pipe_peer.h"

namespace {

namespace asio = boost::asio;

class CAsioPeer;

struct Connection {
    explicit Connection(asio::io_context& context) : pipe(context) {}

    asio::windows::stream_handle pipe;
    char buffer[4096];
    std::size_t nGot = 0;
};

class CAsioPeer final : public IPipePeer {
  public:
    CAsioPeer(std::size_t requestSize, const std::string& reply) : m_nRequest(requestSize), m_strReply(reply) {}
    ~CAsioPeer() override {
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    bool Connect(const std::wstring& name) override {
        HANDLE hPipe = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                   FILE_FLAG_OVERLAPPED, nullptr);
        if (hPipe == INVALID_HANDLE_VALUE) {
            return false;
        }
        auto connection = std::make_unique<Connection>(m_context);
        connection->pipe.assign(hPipe);
        Read(*connection);
        m_vecConnections.push_back(std::move(connection));
        return true;
    }
    void Start() override {
        m_thread = std::thread([this] { m_context.run(); });
    }

  private:
    void Read(Connection& connection) {
        connection.pipe.async_read_some(
            asio::buffer(connection.buffer),
            [this, &connection](const boost::system::error_code& error, std::size_t n) {
                if (error) {
                    return;
                }
                connection.nGot += n;
                if (connection.nGot < m_nRequest) {
                    Read(connection);
                    return;
                }
                connection.nGot -= m_nRequest;
                asio::async_write(connection.pipe, asio::buffer(m_strReply),
                                  [this, &connection](const boost::system::error_code& failed, std::size_t) {
                                      if (!failed) {
                                          Read(connection);
                                      }
                                  });
            });
    }

    const std::size_t m_nRequest;
    const std::string& m_strReply;
    asio::io_context m_context{1};
    std::vector<std::unique_ptr<Connection>> m_vecConnections;
    std::thread m_thread;
};

}  // namespace

std::unique_ptr<IPipePeer> MakeAsioPeer(std::size_t requestSize, const std::string& reply) {
    return std::make_unique<CAsioPeer>(requestSize, reply);
}
