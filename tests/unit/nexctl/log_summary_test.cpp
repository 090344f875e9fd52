#include "nexctl/log/log_summary.h"

#include <gtest/gtest.h>

#include "tests/support/log_bytes.h"

namespace {

LogSummary Summary(const std::string& rest) {
    return SummariseLog(
        LogBytes("1:2:3:4\tstart\r\n1:2:3:4\tC:\\a\\nexlet.exe\r\n1:2:3:5\t[wWinMain(43)] zolt "
                 "strCmd=/from:m /channel:x /service_id:\"s 1\"\r\n" +
                 rest));
}

TEST(LogSummary, ProgramMarkServicesAndTimesAreTold) {
    const LogSummary summary =
        Summary("1:2:4:0\t[CommzoltHelperS::InitData(122)] enter szServiceId=second\r\n1:2:5:0\t[F(1)] the last\r\n");
    EXPECT_EQ(summary.strProgram, "C:\\a\\nexlet.exe");
    EXPECT_EQ(summary.strMark, "m");
    EXPECT_EQ(summary.services, (std::vector<std::string>{"s 1", "second"}));
    EXPECT_EQ(TimeOfDay(summary.nFirstMs), "1:2:3:4");
    EXPECT_EQ(TimeOfDay(summary.nLastMs), "1:2:5:0");
    EXPECT_EQ(summary.strLastText, "the last");
    EXPECT_FALSE(summary.bTorn);
    EXPECT_EQ(summary.end, LogEnd::NotTold);
}

TEST(LogSummary, EndIsTold) {
    const struct {
        const char* line;
        LogEnd end;
    } kEnds[] = {
        {"[CommzoltHelperS::OnCheckExit(61)] ovrinse Check procee exit begin", LogEnd::Orderly},
        {"[wWinMain(68)] process exit!", LogEnd::Orderly},
        {"[wWinMain(51)] exe mutex exist", LogEnd::LostStart},
        {"[F(1)] uncaught exception: stoi", LogEnd::Exception},
        {"[RunHangWatch(179)] wnd Hang error time is 16 last error 1460", LogEnd::HangWatch},
        {"[ReportStaticWithMIDImp(41)] Report: https://h/static/a/1663.6932.gif?_referer=1 sync : 0", LogEnd::CpuWatch},
    };
    for (const auto& one : kEnds) {
        const LogSummary summary = Summary(std::string("1:2:5:0\t") + one.line + "\r\n");
        EXPECT_EQ(summary.end, one.end) << one.line;
        EXPECT_NE(LogEndText(summary, false), LogEndText(LogSummary(), false)) << one.line;
    }
    EXPECT_EQ(Summary("1:2:5:0\t[F(1)] uncaught exception: stoi\r\n").strException, "stoi");
    EXPECT_EQ(Summary("1:2:5:0\t[wWinMain(51)] exe mutex exist\r\n1:2:5:1\t[ExistzoltExcute(82)] SPIC Received "
                      "message\r\n")
                  .end,
              LogEnd::HandedOver);
}

TEST(LogSummary, RequestWithoutAnEndAndTheLastRefusalAreTold) {
    const LogSummary summary = Summary(
        "1:2:5:0\t[CPipeClientCallback::ReceiveIPCMessage(70)] ReceiveIPCMessage begin\r\n"
        "1:2:5:1\t[CPipeClientCallback::ReceiveIPCMessage(70)] nlength is 0\r\n"
        "1:2:6:0\t[CPipeClientCallback::ReceiveIPCMessage(59)] ReceiveIPCMessage begin\r\n"
        "1:2:6:1\t[CPipeClientCallback::ReceiveIPCMessage(99)] receive WM_COPY_DATA_MSG_IPC_GET_OPEN\r\n");
    ASSERT_TRUE(summary.lastRefusal.has_value());
    EXPECT_EQ(summary.lastRefusal->strText, "nlength is 0");
    ASSERT_EQ(summary.openRequests.size(), 1u);
    EXPECT_EQ(summary.openRequests[0].nType, 6);
    EXPECT_EQ(TimeOfDay(summary.openRequests[0].nTimeMs), "1:2:6:0");
}

TEST(LogSummary, LatestProcessOfAFileCounts) {
    const LogSummary summary =
        Summary("1:2:5:0\t[F(1)] uncaught exception: x\r\n2:0:0:0\tstart\r\n2:0:0:0\tC:\\b.exe\r\n");
    EXPECT_EQ(summary.strProgram, "C:\\b.exe");
    EXPECT_EQ(summary.strMark, "");
    EXPECT_EQ(summary.end, LogEnd::NotTold);
}

TEST(LogSummary, FileThatIsCutIsTorn) {
    std::string bytes = LogBytes("1:2:3:4\tstart\r\n1:2:3:4\tC:\\a.exe\r\n");
    EXPECT_FALSE(SummariseLog(bytes).bTorn);
    bytes.resize(bytes.size() - 3);
    EXPECT_TRUE(SummariseLog(bytes).bTorn);
    EXPECT_FALSE(SummariseLog("").bTorn);
}

}  // namespace
