// The doctor beside a helper whose proxy asks for a password, on a real screen.
#include "foundation/text_helpers.h"
#include "tests/e2e/proxied.h"
#include "tests/support/console_program.h"

namespace {

class HelperBehindAProxy : public CProxied {
  protected:
    HttpTestReply Answer(const HttpTestRequest& /*request*/) override {
        return HttpTestReply::Of(407, "", "Proxy-Authenticate: Basic realm=\"proxy\"\r\n");
    }
    ConsoleRun Doctor() const {
        return RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", {"doctor", "--mark", Utf16ToUtf8(m_strMark)});
    }
};

TEST_F(HelperBehindAProxy, DoctorNamesTheDialogThatWaitsForAPassword) {
    // The daily file is asked for at the start.
    StartHelper();
    const ULONGLONG startedAt = GetTickCount64();
    ConsoleRun run = Doctor();
    while (run.strOut.find("\"dialog.open\"") == std::string::npos && GetTickCount64() - startedAt < 2 * kLongMs) {
        run = Doctor();
    }
    EXPECT_EQ(run.dwExitCode, 5u) << run.strOut << run.strErr;
    EXPECT_NE(run.strErr.find("wrong: [dialog.open] process " + std::to_string(m_helper.Id()) + " shows"),
              std::string::npos)
        << run.strErr;
}

}  // namespace
