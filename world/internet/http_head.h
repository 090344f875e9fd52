// The head of an HTTP request, as a proxy gets it.
#pragma once

#include <string>
#include <string_view>

struct HttpHead {
    std::string strMethod;
    std::string strHost;  // without the port that its scheme has anyway; empty when nothing names one
    std::string strPath;  // with the query; empty for CONNECT

    bool operator==(const HttpHead&) const = default;
};

// Longer heads are refused.
inline constexpr std::size_t kMostHeadBytes = 65536;

// text up to its empty line, which it must have. ordinaryPort is the scheme's, 80 or 443; after CONNECT the host of a
// path alone is tunnelHost. False when it is not a request.
bool ReadHttpHead(std::string_view text, int ordinaryPort, std::string_view tunnelHost, HttpHead& head);

// The whole answer.
std::string HttpAnswer(unsigned status, std::string_view body);
