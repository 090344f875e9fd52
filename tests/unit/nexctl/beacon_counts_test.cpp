#include <gtest/gtest.h>

#include "nexctl/beacons/beacon_counts.h"

namespace {

Beacon Read(const std::string& target) {
    const auto beacon =
        ReadBeacon("10.0.0.1 - - [22/Nov/2026:03:00:00 +0000] \"GET " + target + " HTTP/1.0\" 200 43 \"-\"");
    EXPECT_TRUE(beacon.has_value()) << target;
    return beacon.value_or(Beacon());
}

TEST(BeaconCounts, ShortcutBeaconHasItsCodeBeforeTheSecondQuestionMark) {
    const Beacon beacon = Read("/static/a/1663.8991.gif?_referer=2?t=28145&m=0f1e2d3c");
    EXPECT_EQ(beacon.item, "1663.8991");
    EXPECT_EQ(beacon.outcome, "2 picture not fetched");
    EXPECT_EQ(beacon.machine, "0f1e2d3c");
}

TEST(BeaconCounts, OutcomeIsToldForTheItemsThatHaveOne) {
    EXPECT_EQ(Read("/static/a/1663.4439.gif?_referer=126&t=1&m=a").outcome, "error 126");
    EXPECT_EQ(Read("/static/a/1663.6932.gif?_referer=17.250000&t=1&m=a").outcome, "six rounds and more");
    EXPECT_EQ(Read("/static/a/1663.6932.gif?_referer=17.250000_C12&t=1&m=a").outcome, "twelve rounds: forced exit");
    EXPECT_EQ(Read("/static/a/1663.1965.gif?t=1&m=a").outcome, "");
    EXPECT_EQ(Read("/static/a/1663.8991.gif?_referer=9?t=1&m=").outcome, "9 unknown");
}

TEST(BeaconCounts, MachineIdIsAllThatFollowsAndMayBeMissing) {
    EXPECT_EQ(Read("/static/a/1663.1965.gif?t=1&m=a&b?m=c").machine, "a&b?m=c");
    EXPECT_EQ(Read("/static/a/1663.1965.gif?t=1&m=").machine, "");
    EXPECT_EQ(Read("/stats/yybinst?m=x").machine, "x");
}

TEST(BeaconCounts, RequestsOfTheStandInWorldAndOfAProxyAreRead) {
    const char* world =
        R"({"method":"GET","status":204,"url":"https://s.invalid/static/a/1663.4439.gif?_referer=1&t=1&m=q"})";
    EXPECT_EQ(ReadBeacon(world).value_or(Beacon()).machine, "q");
    EXPECT_EQ(Read("http://s.invalid/static/a/1663.9650.gif?t=1&m=q").item, "1663.9650");
}

TEST(BeaconCounts, OtherLinesAreCountedAndNothingElse) {
    for (const char* line : {"", "GET /static/a/1663.9650.gif", "\"GET /static/a/1663.9999.gif?t=1 HTTP/1.0\"",
                             "\"POST /stats/yybinst HTTP/1.0\"", "\"GET http://host HTTP/1.0\""}) {
        EXPECT_FALSE(ReadBeacon(line).has_value()) << line;
    }
}

TEST(BeaconCounts, CountsByItemMachineAndOutcome) {
    const BeaconCounts counts = CountBeacons(
        "x \"GET /static/a/1663.8991.gif?_referer=1?t=1&m=a HTTP/1.0\" 200\r\n"
        "x \"GET /static/a/1663.8991.gif?_referer=5?t=1&m=b HTTP/1.0\" 200\r\n"
        "x \"GET /static/a/1663.8991.gif?_referer=1?t=1&m=b HTTP/1.0\" 404\r\n"
        "\r\nx \"GET /robots.txt HTTP/1.0\" 404\n"
        "x \"GET /stats/yybinst?m=a HTTP/1.0\" 200");
    EXPECT_EQ(BeaconText(counts),
              "1663.8991: making a desktop shortcut ended: 3 from 2 machines\n"
              "    1 written: 2\n"
              "    5 shortcut not written: 1\n"
              "yybinst: an install of YYB was started (install statistics): 1 from 1 machines\n"
              "1 lines are of no beacon\n");
    const Json::Value record = BeaconRecord(counts);
    EXPECT_EQ(record["items"][0]["outcomes"]["1 written"].asInt(), 2);
    EXPECT_EQ(record["items"][0]["machines"].asInt(), 2);
    EXPECT_EQ(record["other_lines"].asInt(), 1);
}

}  // namespace
