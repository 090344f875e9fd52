#include "world/internet/http_head.h"

#include <algorithm>

namespace {

constexpr std::string_view kLineEnd = "\r\n";

std::string_view TakeUntil(std::string_view& text, std::string_view mark) {
    const std::size_t at = text.find(mark);
    const std::string_view taken = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + mark.size());
    return taken;
}

bool SameName(std::string_view left, std::string_view right) {
    return std::ranges::equal(left, right, [](char a, char b) { return (a | 0x20) == (b | 0x20); });
}

// The value of the header line "Host".
std::string_view HostHeader(std::string_view lines) {
    while (!lines.empty()) {
        std::string_view line = TakeUntil(lines, kLineEnd);
        const std::string_view name = TakeUntil(line, ":");
        if (SameName(name, "host")) {
            return line.substr(std::min(line.find_first_not_of(' '), line.size()));
        }
    }
    return {};
}

std::string WithoutPort(std::string_view host, int port) {
    const std::string ending = ":" + std::to_string(port);
    if (host.ends_with(ending)) {
        host.remove_suffix(ending.size());
    }
    return std::string(host);
}

}  // namespace

bool ReadHttpHead(std::string_view text, int ordinaryPort, std::string_view tunnelHost, HttpHead& head) {
    head = {};
    const std::size_t end = text.find("\r\n\r\n");
    if (end == std::string_view::npos) {
        return false;
    }
    std::string_view lines = text.substr(0, end + kLineEnd.size());
    std::string_view line = TakeUntil(lines, kLineEnd);
    head.strMethod = TakeUntil(line, " ");
    std::string_view target = TakeUntil(line, " ");
    if (head.strMethod.empty() || target.empty() || !line.starts_with("HTTP/1.")) {
        return false;
    }
    if (head.strMethod == "CONNECT") {
        head.strHost = WithoutPort(target, 443);
        return !head.strHost.empty();
    }
    if (target.front() == '/') {
        head.strHost = tunnelHost.empty() ? WithoutPort(HostHeader(lines), ordinaryPort) : std::string(tunnelHost);
        head.strPath = target;
        return true;
    }
    constexpr std::string_view kScheme = "http://";
    if (!target.starts_with(kScheme)) {
        return false;
    }
    target.remove_prefix(kScheme.size());
    const std::size_t slash = std::min(target.find_first_of("/?"), target.size());
    head.strHost = WithoutPort(target.substr(0, slash), ordinaryPort);
    head.strPath = (target.substr(slash).starts_with('/') ? "" : "/") + std::string(target.substr(slash));
    return !head.strHost.empty();
}

std::string HttpAnswer(unsigned status, std::string_view body) {
    return "HTTP/1.0 " + std::to_string(status) + " Told\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + std::string(body);
}
