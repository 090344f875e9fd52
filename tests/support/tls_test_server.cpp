#include "tests/support/tls_test_server.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

namespace {

std::string FilePath(const char* name) {
    const char* const folder = std::getenv("NEXLET_TLS_FOLDER");
    return std::string(folder != nullptr ? folder : ".") + "/" + name;
}

}  // namespace

std::uint16_t tls_test_server::Port(const std::string& certificate) {
    std::ifstream file(FilePath("ports.txt"));
    std::string name;
    std::uint16_t port = 0;
    while (file >> name >> port) {
        if (name == certificate) {
            return port;
        }
    }
    ADD_FAILURE() << "No TLS server in the folder NEXLET_TLS_FOLDER: run ctest, or tests/servers/tls_server.py start "
                     "FOLDER.";
    return 0;
}

std::vector<std::string> tls_test_server::Requests(const std::string& part) {
    std::ifstream file(FilePath("requests.txt"));
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(file, line)) {
        if (line.find(part) != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}
