#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "nexctl/bundle/mask.h"

namespace {

std::string Masked(const std::string& function, const std::string& text) {
    LogLine line;
    line.strFunction = function;
    line.strText = text;
    return MaskLine(line).strText;
}

TEST(Mask, MessageKeepsItsKeysItsTypeAndItsResultWord) {
    EXPECT_EQ(
        Masked(
            "CPipeClientCallback::ReceiveIPCMessage",
            R"(ReceiveIPCMessage szMessage={"content":{"nexlet_call":3,"p1":{"appId":"secret","n":5}},"message_type":6})"),
        R"(ReceiveIPCMessage szMessage={"content":{"nexlet_call":3,"p1":{"appId":"***","n":"***"}},"message_type":6})");
    EXPECT_EQ(Masked("WxMiniProgramServiceEx::SendIPCMessage",
                     R"(Type=17, Message={"content":{"result":"Loading","x":"secret"},"message_type":17})"),
              R"(Type=17, Message={"content":{"result":"Loading","x":"***"},"message_type":17})");
}

TEST(Mask, JsonInATextIsMaskedInside) {
    EXPECT_EQ(MaskJson(R"({"p1":"{\"text\":\"secret\"}"})"), R"({"p1":"{\"text\":\"***\"}"})");
}

TEST(Mask, MessageThatIsCutIsMaskedWhole) {
    EXPECT_EQ(Masked("CPipeClientCallback::ReceiveIPCMessage", R"(ReceiveIPCMessage szMessage={"content":{"p1":"secr)"),
              "ReceiveIPCMessage szMessage=***");
}

TEST(Mask, CommandLineLosesChannelAndParameter) {
    EXPECT_EQ(MaskCommandLine("/from:m /channel:c2VjcmV0 /service_id:s /param:\"a b\" /type:2"),
              "/from:m /channel:*** /service_id:s /param:*** /type:2");
    EXPECT_EQ(Masked("wWinMain", "zolt strCmd=/from:m /channel:c2VjcmV0"), "zolt strCmd=/from:m /channel:***");
}

TEST(Mask, LineThatNobodyKnowsIsMaskedWhole) {
    EXPECT_EQ(Masked("wWinMain", "a line of tomorrow: secret"), "***");
    EXPECT_EQ(Masked("Nobody", "enter mark=secret"), "***");
    EXPECT_EQ(Masked("", "----strQimei32  = secret | strQimei36  = secret , error = 0,"), "***");
    EXPECT_EQ(Masked("", "start"), "start");
    EXPECT_EQ(Masked("", "---IsYybLogined---- run [1], login [0]"), "---IsYybLogined---- run [1], login [0]");
}

TEST(Mask, HarmlessTextStays) {
    EXPECT_EQ(Masked("CommzoltHelperS::InitData", "enter szServiceId=svc"), "enter szServiceId=svc");
    EXPECT_EQ(Masked("CClientContext::PostRead", "ReadFile bSuccess=0, error=997"), "ReadFile bSuccess=0, error=997");
}

TEST(Mask, NameOfAUserInAPathIsMaskedWherePathsStay) {
    EXPECT_EQ(MaskUserNames(R"(C:\Users\Jane Doe\x.dll is missing, c:\USERS\joe)"),
              R"(C:\Users\***\x.dll is missing, c:\USERS\***)");
    EXPECT_EQ(MaskUserNames(R"({"path":"C:\\users\\jane\\bin","inner":"{\"p\":\"C:\\\\Users\\\\jane\\\\x\"}"})"),
              R"({"path":"C:\\users\\***\\bin","inner":"{\"p\":\"C:\\\\Users\\\\***\\\\x\"}"})");
    EXPECT_EQ(MaskUserNames("C:/Documents and Settings/JANE~1/x\nZ:\\home\\jane"),
              "C:/Documents and Settings/***/x\nZ:\\home\\***");
    for (const char* same :
         {"C:\\temp\\users\\x", "C:\\Users", "C:\\Users\\", "C:Users\\x", "no path: users", "", ":"}) {
        EXPECT_EQ(MaskUserNames(same), same);
    }
}

// Every line of the page, with a secret in the place of each text.
TEST(Mask, NoLineButTheHarmlessOnesLetsATextThrough) {
    std::ifstream page(NEXLET_DOCS "/log-lines.md");
    std::vector<std::string> through;
    int lines = 0;
    for (std::string row; std::getline(page, row);) {
        const std::size_t middle = row.find("` | `[%s(%d)]");
        if (!row.starts_with("| `") || middle == std::string::npos) {
            continue;
        }
        const std::string function = row.substr(3, middle - 3);
        std::string text = row.substr(middle + 13, row.size() - middle - 13 - 3);
        text = text.starts_with(' ') ? text.substr(1) : text;
        const bool message = text.ends_with("essage=%s");
        for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at)) {
            if (text.compare(at, 2, "%%") == 0) {
                text.erase(at++, 1);
                continue;
            }
            const std::size_t end = text.find_first_of("sdiuxXpcfgS", at + 1);
            text.replace(at, end + 1 - at,
                         text[end] == 's' ? (message ? R"({"secret key":"secret"})" : "secret") : "7");
        }
        ++lines;
        const std::string masked = Masked(function, text);
        EXPECT_TRUE(masked != kMasked || text == kMasked) << function << " " << text << " is not known";
        if (masked.find(message ? "\"secret\"" : "secret") != std::string::npos) {
            through.push_back(function);
        }
    }
    EXPECT_GT(lines, 200);
    // A line more here is a text that everybody who gets a bundle reads.
    EXPECT_EQ(through.size(), 28u) << ::testing::PrintToString(through);
}

}  // namespace
