// The exchange in docs/protocol.md is the one of tests/data/exchanges/open.exchange, byte for byte.
#include <string>

#include <gtest/gtest.h>

#include "tooling/exchange.h"
#include "tooling/text_file.h"

namespace {

TEST(ProtocolPage, ShowsTheGoldenExchange) {
    // The tests run in the root of the tree.
    std::string file;
    ASSERT_TRUE(ReadTextFile("tests\\data\\exchanges\\open.exchange", file));
    Exchange exchange;
    std::string problem;
    ASSERT_TRUE(ReadExchange(file, exchange, problem)) << problem;
    std::string page;
    ASSERT_TRUE(ReadTextFile("docs\\protocol.md", page));
    const std::string shown = ShowExchange(exchange);
    EXPECT_NE(page.find(shown), std::string::npos)
        << "\"nexctl show tests/data/exchanges/open.exchange\" prints what belongs into the page:\n"
        << shown;
}

}  // namespace
