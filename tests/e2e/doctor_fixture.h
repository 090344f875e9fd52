// nexctl doctor, and the codes of what it finds.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/e2e/nexctl_fixture.h"

class NexctlDoctor : public Nexctl {
  protected:
    // The codes of all findings.
    std::vector<std::string> CodesOf(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), {"doctor", "--summary"});
        const ConsoleRun run = Run(arguments);
        SCOPED_TRACE(run.strOut + run.strErr);
        std::vector<std::string> codes;
        const Json::Value summary = JsonLines(run.strOut).at(0);
        for (const Json::Value& code : summary["codes"]) {
            codes.push_back(code.asString());
        }
        EXPECT_EQ(run.dwExitCode, summary["wrong"].asInt() == 0 ? 0u : 5u);
        return codes;
    }
    static bool Has(const std::vector<std::string>& codes, const std::string& code) {
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    }
};
