// ReadHelperScenario on any text, and a play of what it takes: every step gives bytes, or none, within its cut.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "world/helper/helper_scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    HelperScenario scenario;
    std::string problem;
    if (!ReadHelperScenario(text, scenario, problem)) {
        FUZZ_CHECK(problem.starts_with("line "));
        return 0;
    }
    FUZZ_CHECK(problem.empty() && !scenario.connect.empty());
    HelperScenario again;
    FUZZ_CHECK(ReadHelperScenario("\n" + std::string(text), again, problem) || text.starts_with("\xEF\xBB\xBF"));
    CHelperPlay play(scenario, Exchange());
    for (const char* payload :
         {R"({"content":{"nexlet_call":1},"message_type":2})", R"({"content":1,"message_type":7})", "{}", "no envelope",
          R"({"content":null,"message_type":9})"}) {
        const ScriptedRequest request = ReadScriptedRequest(payload);
        for (const HelperStep& step : play.OnRequest(request)) {
            const std::string bytes = StepBytes(step, request);
            FUZZ_CHECK(!step.cut || bytes.size() <= *step.cut);
        }
    }
    return 0;
}
