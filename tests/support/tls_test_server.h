// The TLS server that ctest starts beside the tests, see tests/servers/tls_server.py.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tls_test_server {

// The loopback port that shows the certificate of this name: self_signed, wrong_name or expired. 0, and a failure of
// the running test, when the server does not run.
std::uint16_t Port(const std::string& certificate);

// "NAME METHOD TARGET" of every request so far whose line contains part.
std::vector<std::string> Requests(const std::string& part);

}  // namespace tls_test_server
