// A server as the product's transfers see it: the table of the system's HTTP functions, answered by a function.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "support/http/wininet_api.h"

namespace simulation {

struct HttpAsk {
    std::wstring strUrl;  // whole: "http://host:80/path?query"
    std::wstring strHost;
    std::uint16_t nPort = 0;
    std::wstring strPath;
    std::wstring strVerb;
    std::string strHeaders;
};

struct HttpAnswer {
    std::uint32_t nStatus = 200;  // 0: nobody answers
    std::string strBody;
    std::uint32_t nAfterMs = 0;
    std::size_t nBytesBeforeBreak = static_cast<std::size_t>(-1);  // the connection breaks after so many of the body
};

// Called by the thread of the transfer, in the order of the requests' sending.
using HttpServer = std::function<HttpAnswer(const HttpAsk&)>;

// From now on every transfer is answered by server, which the machine keeps. The table is given to OverrideWinInetApi
// by the caller.
const WinInetApi& AnswerHttpBy(HttpServer server);

}  // namespace simulation
