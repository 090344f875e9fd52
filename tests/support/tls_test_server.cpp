#include "tests/support/tls_test_server.h"

#include "foundation/windows_headers.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace {

// The server's folder is next to the one of the programs.
std::filesystem::path FilePath(const char* name) {
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return std::filesystem::path(program).parent_path().parent_path() / "tls_server" / name;
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
    ADD_FAILURE() << "No TLS server: run ctest, or tests/servers/tls_server.py start build/windows-x64/tls_server.";
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
