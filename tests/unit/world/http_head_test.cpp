#include "world/internet/http_head.h"

#include <gtest/gtest.h>

namespace {

HttpHead Read(std::string_view text, int port = 80, std::string_view tunnel = {}) {
    HttpHead head;
    EXPECT_TRUE(ReadHttpHead(text, port, tunnel, head)) << text;
    return head;
}

TEST(HttpHead, AProxyIsAskedForWholeUrls) {
    EXPECT_EQ(Read("GET http://info.x:80/wxzolt/info.txt?a=b HTTP/1.0\r\nHost: other\r\n\r\nrest"),
              (HttpHead{"GET", "info.x", "/wxzolt/info.txt?a=b"}));
    EXPECT_EQ(Read("GET http://x:8080 HTTP/1.1\r\n\r\n"), (HttpHead{"GET", "x:8080", "/"}));
    EXPECT_EQ(Read("GET http://x?q HTTP/1.1\r\n\r\n"), (HttpHead{"GET", "x", "/?q"}));
}

TEST(HttpHead, ATunnelIsAskedForByHost) {
    EXPECT_EQ(Read("CONNECT statistics.x:443 HTTP/1.0\r\n\r\n"), (HttpHead{"CONNECT", "statistics.x", ""}));
    EXPECT_EQ(Read("CONNECT statistics.x:444 HTTP/1.0\r\n\r\n"), (HttpHead{"CONNECT", "statistics.x:444", ""}));
}

TEST(HttpHead, APathAloneBelongsToTheTunnelOrTheHostHeader) {
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\nAccept: */*\r\nhOST:  x:80\r\n\r\n"), (HttpHead{"GET", "x", "/a"}));
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\nHost: x:443\r\n\r\n", 443), (HttpHead{"GET", "x", "/a"}));
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\nHost: liar\r\n\r\n", 443, "x:444"), (HttpHead{"GET", "x:444", "/a"}));
    EXPECT_EQ(Read("GET /a HTTP/1.0\r\n\r\n"), (HttpHead{"GET", "", "/a"}));
}

TEST(HttpHead, WhatIsNotARequestIsRefused) {
    HttpHead head;
    for (const char* text :
         {"", "\r\n\r\n", "GET\r\n\r\n", "GET /\r\n\r\n", "GET / HTTP/1.0\r\n", "GET / FTP/1\r\n\r\n",
          " / HTTP/1.0\r\n\r\n", "GET x HTTP/1.0\r\n\r\n", "GET https://x/ HTTP/1.0\r\n\r\n",
          "GET http:///a HTTP/1.0\r\n\r\n", "CONNECT :443 HTTP/1.0\r\n\r\n"}) {
        EXPECT_FALSE(ReadHttpHead(text, 80, {}, head)) << text;
    }
}

TEST(HttpHead, AnAnswerNamesItsLength) {
    EXPECT_EQ(HttpAnswer(404, "abc"), "HTTP/1.0 404 Told\r\nContent-Length: 3\r\nConnection: close\r\n\r\nabc");
}

}  // namespace
