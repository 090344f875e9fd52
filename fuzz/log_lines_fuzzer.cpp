// ReadLog, BuildTimeline and TimelinePage on any bytes: every line is on one lane, every span within the log, in
// order, and nothing of the log becomes a tag of the page.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "nexctl/log/log_page.h"
#include "nexctl/log/log_summary.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<LogLine> lines = ReadLog(bytes);
    // The same log while it was shorter holds the same lines, but for the last one.
    const std::vector<LogLine> before = ReadLog(bytes.substr(0, size / 2));
    FUZZ_CHECK(before.size() <= lines.size());
    for (std::size_t at = 0; at + 1 < before.size(); ++at) {
        FUZZ_CHECK(before[at] == lines[at]);
    }
    const LogSummary summary = SummariseLog(bytes);
    FUZZ_CHECK(summary.openRequests.size() <= lines.size());
    std::size_t covered = 0;
    // Each run is looked for from the beginning, so not all of very many.
    constexpr int kMostRuns = 200;
    const int runs = CountRuns(lines);
    for (int run = 0; run < runs && run < kMostRuns; ++run) {
        const Timeline timeline = BuildTimeline(lines, run);
        covered += timeline.lines.size();
        std::size_t marks = 0;
        for (const TimelineLane& lane : timeline.lanes) {
            marks += lane.marks.size();
            FUZZ_CHECK(!lane.marks.empty());
            for (const TimelineSpan& span : lane.spans) {
                FUZZ_CHECK(span.nFirstLine <= span.nLastLine && span.nLastLine < timeline.lines.size());
            }
        }
        FUZZ_CHECK(marks == timeline.lines.size() && timeline.laneOf.size() == marks);
        if (run < 2) {
            const std::string page = TimelinePage({{"log", timeline}});
            const auto tags = [&](std::string_view tag) {
                std::size_t count = 0;
                for (std::size_t at = page.find(tag); at != std::string::npos; at = page.find(tag, at + 1)) {
                    ++count;
                }
                return count;
            };
            FUZZ_CHECK(tags("<script") == 2 && tags("</script") == 2 && tags("<p>") == 2);
        }
    }
    FUZZ_CHECK(runs <= kMostRuns ? covered == lines.size() : covered < lines.size());
    return 0;
}
