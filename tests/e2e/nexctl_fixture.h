// nexctl from the outside, beside a sandbox of its own and under a mark of its own.
#pragma once

#include <string>
#include <vector>

#include "foundation/text_helpers.h"
#include "tests/e2e/end_to_end.h"
#include "tests/support/console_program.h"

inline std::vector<Json::Value> JsonLines(const std::string& text) {
    std::vector<Json::Value> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        lines.push_back(JsonOf(text.substr(at, end - at)));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
}

class Nexctl : public CEndToEnd {
  protected:
    // The caller is nexctl here, so the fixture serves no pipe.
    void SetUp() override { ASSERT_TRUE(m_sandbox.Ready()) << GetLastError(); }

    ConsoleRun Run(std::vector<std::string> arguments, const std::string& input = {}) {
        for (const std::string& one :
             {std::string("--exe"), Utf16ToUtf8(m_sandbox.Exe()), std::string("--mark"), Utf16ToUtf8(m_strMark)}) {
            arguments.push_back(one);
        }
        return RunPlain(arguments, input);
    }

    ConsoleRun RunPlain(const std::vector<std::string>& arguments, const std::string& input = {}) {
        ConsoleRun run = RunConsoleProgram(OwnFolder() + L"\\nexctl.exe", arguments, input);
        EXPECT_TRUE(run.bStarted && run.bEnded);
        SCOPED_TRACE(run.strOut + run.strErr);
        for (const Json::Value& line : JsonLinesIfAny(run.strOut)) {
            if (line.isObject() && line["step"] == "start" && line["process_id"].isUInt()) {
                m_helper.Attach(line["process_id"].asUInt());
            }
        }
        return run;
    }

  private:
    static inline std::vector<Json::Value> JsonLinesIfAny(const std::string& text) {
        return text.starts_with('{') ? JsonLines(text) : std::vector<Json::Value>();
    }
};
