#include "support/http/http_url.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(IsHttpUrl, TheSchemeIsHttpOrHttpsInAnyCase) {
    for (const wchar_t* url : {L"http://h", L"https://h", L"HTTP://h/", L"HttpS://h:8443/p?q#f", L"http://u:p@h/"}) {
        EXPECT_TRUE(IsHttpUrl(url)) << testing::PrintToString(std::wstring(url));
    }
    for (const wchar_t* url : {L"", L"http", L"http:/", L"http:h", L"httpx://h", L"xhttp://h", L"ftp://h", L"h/p",
                               L"/p", L" http://h", L"ht\x54tp://h", L"\x148ttp://h", L"http[//h"}) {
        EXPECT_FALSE(IsHttpUrl(url)) << testing::PrintToString(std::wstring(url));
    }
}

TEST(IsHttpUrl, AHostMustBeThereAndFit) {
    for (const wchar_t* url : {L"http://", L"http:///p", L"http://?q", L"http://:80/", L"http://u@/"}) {
        EXPECT_FALSE(IsHttpUrl(url)) << testing::PrintToString(std::wstring(url));
    }
    const std::wstring longest(259, L'h');
    EXPECT_TRUE(IsHttpUrl(L"http://" + longest));
    EXPECT_TRUE(IsHttpUrl(L"http://user:password@" + longest + L":8080/p"));
    EXPECT_FALSE(IsHttpUrl(L"http://h" + longest + L"/"));
}

TEST(IsHttpUrl, APathWithItsQueryMustFit) {
    EXPECT_TRUE(IsHttpUrl(L"http://h/" + std::wstring(2000, L'p') + L"?" + std::wstring(2093, L'q')));
    EXPECT_FALSE(IsHttpUrl(L"http://h/" + std::wstring(2000, L'p') + L"?" + std::wstring(2094, L'q')));
}

}  // namespace
