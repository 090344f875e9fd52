// ReadWorldScenario and ReadJournal on any text: no path leads out of the directory, and a journal that is taken writes
// back to itself.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "world/program/journal.h"
#include "world/program/world_scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<WorldStep> steps;
    std::string problem;
    if (ReadWorldScenario(text, steps, problem)) {
        for (const WorldStep& step : steps) {
            for (const std::string& path : {step.strSource, step.strTarget}) {
                FUZZ_CHECK(("\\" + path + "\\").find("\\..\\") == std::string::npos);
                FUZZ_CHECK(path.find(':') == std::string::npos && !path.starts_with('\\'));
            }
            FUZZ_CHECK(WithDirectory(step.strText, "{dir}") == step.strText);
        }
    } else {
        FUZZ_CHECK(problem.starts_with("line "));
    }
    std::vector<JournalEntry> entries;
    if (ReadJournal(text, entries, problem)) {
        std::string written;
        for (const JournalEntry& entry : entries) {
            written += JournalLine(entry);
        }
        std::vector<JournalEntry> again;
        FUZZ_CHECK(ReadJournal(written, again, problem) && again == entries);
    }
    return 0;
}
