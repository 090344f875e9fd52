// Transfers over real TLS, against certificates that a careful client would refuse.
#include "tests/unit/support/http/http_transfer_fixture.h"

#include "tests/support/tls_test_server.h"

namespace {

class HttpTransferTlsTest : public HttpTransferTest, public testing::WithParamInterface<const char*> {};

TEST_P(HttpTransferTlsTest, AFaultyCertificateIsAccepted) {
    const std::wstring url = L"https://127.0.0.1:" + std::to_wstring(tls_test_server::Port(GetParam())) + L"/tls";
    for (const int verifyName : {0, 1}) {
        m_transfer.m_bVerifyCertName = verifyName;
        EXPECT_EQ(Fetch(url), 200);
        m_record.ExpectBody("hello over tls\n");
    }
}

INSTANTIATE_TEST_SUITE_P(Certificates, HttpTransferTlsTest, testing::Values("self_signed", "wrong_name", "expired"),
                         [](const testing::TestParamInfo<const char*>& tested) { return std::string(tested.param); });

TEST_F(HttpTransferTest, HttpsGoesThroughAProxyAsATunnel) {
    const std::uint16_t tls = tls_test_server::Port("self_signed");
    HttpTestServer proxy([&](const HttpTestRequest&) { return HttpTestReply::Tunnel(tls); });
    const ScopedInternetProxy setting(proxy.Port());
    EXPECT_EQ(Fetch(L"https://statistics.nexlet.invalid/through/the/tunnel"), 200);
    m_record.ExpectBody("hello over tls\n");
    ASSERT_FALSE(proxy.Requests().empty());
    EXPECT_EQ(proxy.Requests()[0].strMethod, "CONNECT");
    EXPECT_EQ(proxy.Requests()[0].strTarget, "statistics.nexlet.invalid:443");
    EXPECT_FALSE(tls_test_server::Requests("GET /through/the/tunnel").empty());
}

TEST_F(HttpTransferTest, ARedirectFromHttpToHttpsIsFollowed) {
    const std::uint16_t tls = tls_test_server::Port("self_signed");
    HttpTestServer server([&](const HttpTestRequest&) {
        return HttpTestReply::Of(302, "", "Location: https://127.0.0.1:" + std::to_string(tls) + "/secure\r\n");
    });
    EXPECT_EQ(Fetch(server.Url(L"/")), 200);
    m_record.ExpectBody("hello over tls\n");
}

// Straight to the server: through a proxy a failed handshake runs Wine's WinINet into an assertion that ends the
// process.
TEST_F(HttpTransferTest, PlainTextInPlaceOfAHandshakeIsASendFailure) {
    // Starts the sockets of this process.
    const HttpTestServer sockets([](const HttpTestRequest&) { return HttpTestReply::Of(200); });
    const SOCKET plain = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof(address);
    ASSERT_EQ(bind(plain, reinterpret_cast<const sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(plain, SOMAXCONN), 0);
    ASSERT_EQ(getsockname(plain, reinterpret_cast<sockaddr*>(&address), &size), 0);
    // Every handshake is answered by plain text; the platform may try more than once.
    std::thread answering([&] {
        SOCKET client = INVALID_SOCKET;
        while ((client = accept(plain, nullptr, nullptr)) != INVALID_SOCKET) {
            char piece[4096];
            const bool wake = recv(client, piece, sizeof(piece), 0) <= 0;
            send(client, "not a TLS handshake.\r\n", 22, 0);
            closesocket(client);
            if (wake) {
                return;
            }
        }
    });
    EXPECT_EQ(Fetch(L"https://127.0.0.1:" + std::to_wstring(ntohs(address.sin_port)) + L"/x"), 0);
    m_record.ExpectFailure(0);
    // A connection without a byte ends the answering thread.
    const SOCKET wake = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    EXPECT_EQ(connect(wake, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    closesocket(wake);
    answering.join();
    closesocket(plain);
}

}  // namespace
