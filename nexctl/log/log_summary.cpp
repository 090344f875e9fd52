#include "nexctl/log/log_summary.h"

#include <algorithm>

#include "nexctl/log/log_timeline.h"

namespace {

constexpr std::string_view kException = "uncaught exception";

// The text after the first of these heads that fits, or nothing.
std::optional<std::string> After(const LogLine& line, std::initializer_list<std::string_view> heads) {
    for (const std::string_view head : heads) {
        if (line.strText.starts_with(head)) {
            return line.strText.substr(head.size());
        }
    }
    return std::nullopt;
}

// The value of a switch in a command line that the log shows.
std::string SwitchIn(const std::string& commandLine, std::string_view key) {
    const std::size_t at = commandLine.find(key);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t from = at + key.size();
    const bool quoted = from < commandLine.size() && commandLine[from] == '"';
    const std::size_t begin = from + (quoted ? 1 : 0);
    return commandLine.substr(begin, commandLine.find(quoted ? '"' : ' ', begin) - begin);
}

class CSummary {
  public:
    explicit CSummary(std::string_view bytes) : m_bytes(bytes) {}

    LogSummary Make() {
        const std::vector<LogLine> all = ReadLog(m_bytes);
        constexpr std::string_view kLineEnd("\n\0", 2);
        m_summary.bTorn = !m_bytes.empty() && !m_bytes.ends_with(kLineEnd);
        const Timeline timeline = BuildTimeline(all, std::max(CountRuns(all) - 1, 0));
        if (timeline.lines.empty()) {
            return std::move(m_summary);
        }
        for (const LogLine& line : timeline.lines) {
            Take(line);
        }
        m_summary.nFirstMs = timeline.lines.front().nTimeMs;
        m_summary.nLastMs = timeline.lines.back().nTimeMs;
        m_summary.strLastText = timeline.lines.back().strText;
        for (const TimelineLane& lane : timeline.lanes) {
            for (const TimelineSpan& span : lane.spans) {
                if (span.bRequest && span.bOpen) {
                    m_summary.openRequests.push_back(
                        {span.nType, timeline.lines[span.nFirstLine].nTimeMs, span.strMessage});
                }
            }
        }
        return std::move(m_summary);
    }

  private:
    void AddService(const std::string& service) {
        for (auto* services : {&m_summary.services, &m_summary.liveServices}) {
            if (!service.empty() && std::ranges::find(*services, service) == services->end()) {
                services->push_back(service);
            }
        }
    }

    void Take(const LogLine& line) {
        m_nLine++;
        if (m_nLine == 2 && line.strFunction.empty()) {
            m_summary.strProgram = line.strText;
        }
        if (const auto commandLine = After(line, {"zolt strCmd="})) {
            m_summary.strMark = SwitchIn(*commandLine, "/from:");
            AddService(SwitchIn(*commandLine, "/service_id:"));
        } else if (const auto service = After(line, {"enter szServiceId="})) {
            AddService(*service);
        } else if (const auto gone = After(line, {"begin destruct strServiceId = "})) {
            // The line ends with a blank.
            std::erase(m_summary.liveServices, gone->substr(0, gone->find_last_not_of(' ') + 1));
        } else if (line.strText == "exe mutex exist") {
            m_summary.end = LogEnd::LostStart;
        } else if (line.strText == "SPIC Received message") {
            m_summary.end = LogEnd::HandedOver;
        } else if (line.strText.starts_with(kException)) {
            m_summary.end = LogEnd::Exception;
            m_summary.strException = After(line, {"uncaught exception: "}).value_or("");
        } else if (line.strText.starts_with("wnd Hang error time is ")) {
            m_summary.end = LogEnd::HangWatch;
        } else if (line.strText.find("/1663.6932.gif") != std::string::npos) {
            m_summary.end = LogEnd::CpuWatch;
        } else if (m_summary.end == LogEnd::NotTold &&
                   (line.strText == "ovrinse Check procee exit begin" || line.strText == "process exit!" ||
                    line.strText == "Check timeout, exit process end")) {
            m_summary.end = LogEnd::Orderly;
        }
        if (IsRefusal(line)) {
            m_summary.lastRefusal = line;
        }
    }

    const std::string_view m_bytes;
    LogSummary m_summary;
    std::size_t m_nLine = 0;
};

}  // namespace

LogSummary SummariseLog(std::string_view bytes) {
    return CSummary(bytes).Make();
}

std::string LogEndText(const LogSummary& summary, bool running) {
    switch (summary.end) {
        case LogEnd::NotTold:
            return running ? "runs" : "ended without a line: killed, or crashed";
        case LogEnd::Orderly:
            return running ? "is ending" : "ended: no service was left, or its window was closed";
        case LogEnd::HandedOver:
            return "second start: its command line was handed over";
        case LogEnd::LostStart:
            return running ? "second start, under way" : "second start: nobody took its command line";
        case LogEnd::Exception:
            return "ended: uncaught exception" + (summary.strException.empty() ? "" : ": " + summary.strException);
        case LogEnd::HangWatch:
            return "ended: its window did not answer (hang watch)";
        case LogEnd::CpuWatch:
            return running ? "runs, and uses too much of the processor"
                           : "ended: too much of the processor was used (CPU watch)";
    }
    return {};
}
