#include "nexctl/log/log_page.h"

#include <algorithm>
#include <map>
#include <string_view>

#include <page_parts.h>

namespace {

// As page.js numbers them.
enum PageKind { kWork = 0, kServed = 1, kUnanswered = 2, kRefused = 3 };

void AppendEscaped(std::string& page, std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '&':
                page += "&amp;";
                break;
            case '<':
                page += "&lt;";
                break;
            case '>':
                page += "&gt;";
                break;
            case '"':
                page += "&quot;";
                break;
            default:
                // A page may not hold other control characters.
                page += static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t' ? c : ' ';
        }
    }
}

// As JSON that may stand inside an element: no "<" begins a tag.
void AppendJsonText(std::string& data, std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    data += '"';
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || c == '<' || c == '>' || c == '&') {
            data += "\\u00";
            data += kDigits[code >> 4];
            data += kDigits[code & 15];
        } else {
            if (c == '"' || c == '\\') {
                data += '\\';
            }
            data += c;
        }
    }
    data += '"';
}

std::string Seconds(std::int64_t ms) {
    return std::to_string(ms / 1000) + "." + std::to_string(1000 + ms % 1000).substr(1) + " s";
}

std::string Count(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// A request in a word, that of nexctl's verb for it where there is one.
std::string ShortName(const TimelineSpan& span) {
    constexpr const char* kVerbs[] = {"status", "status-encrypted", "qimei", "encrypt", "open", "poll", "watch",
                                      "exit"};
    constexpr int kFirstType = 2;
    const int verb = span.nType - kFirstType;
    return verb >= 0 && verb < static_cast<int>(std::size(kVerbs)) ? kVerbs[verb] : span.strName;
}

PageKind KindOf(const TimelineSpan& span) {
    return !span.bRequest                           ? kWork
           : span.bServed                           ? kServed
           : span.strOutcome.starts_with("refused") ? kRefused
                                                    : kUnanswered;
}

// One log as the script reads it, without the lines that do not fit the page.
class CPageLog {
  public:
    CPageLog(const PageLog& log, std::size_t nMostLines) : m_timeline(log.timeline), m_title(log.strTitle) {
        const std::size_t all = m_timeline.lines.size();
        m_place.resize(all);
        bool bBeats = all <= nMostLines;
        const auto beats = static_cast<std::size_t>(std::ranges::count_if(m_timeline.lines, IsHeartbeat));
        const std::size_t rest = bBeats ? all : all - beats;
        std::size_t drop = rest > nMostLines ? rest - nMostLines : 0;
        for (std::size_t at = 0; at < all; ++at) {
            const bool out = !bBeats && IsHeartbeat(m_timeline.lines[at]);
            if (!out && drop > 0) {
                --drop;
            } else if (!out) {
                m_kept.push_back(at);
            }
            // What began at a line that is left out begins at the next one that is kept.
            m_place[at] = m_kept.empty() ? 0 : m_kept.size() - 1;
        }
    }

    void AppendHead(std::string& page) const {
        page += "<p>";
        AppendEscaped(page, m_title);
        page += "</p>\n<p>" + Summary() + "</p>\n";
    }

    void AppendData(std::string& data) const {
        data += "{\"lanes\":[";
        for (const TimelineLane& lane : m_timeline.lanes) {
            data += &lane == m_timeline.lanes.data() ? "" : ",";
            AppendJsonText(data, lane.strName);
        }
        data += "],\"start\":" + std::to_string(m_kept.empty() ? 0 : Line(m_kept.front()).nTimeMs);
        std::vector<MarkKind> kinds(m_timeline.lines.size(), MarkKind::Line);
        for (const TimelineLane& lane : m_timeline.lanes) {
            for (const TimelineMark& mark : lane.marks) {
                kinds[mark.nLine] = mark.kind;
            }
        }
        std::map<std::string_view, std::size_t> functions;
        std::int64_t before = m_kept.empty() ? 0 : Line(m_kept.front()).nTimeMs;
        const auto steps = [&](std::size_t at) {
            const std::int64_t step = Line(at).nTimeMs - before;
            before = Line(at).nTimeMs;
            return step;
        };
        AppendNumbers(data, "step", steps);
        AppendNumbers(data, "lane", [&](std::size_t at) { return m_timeline.laneOf[at]; });
        AppendNumbers(data, "kind", [&](std::size_t at) { return static_cast<int>(kinds[at]); });
        AppendNumbers(data, "beat", [&](std::size_t at) { return IsHeartbeat(Line(at)) ? 1 : 0; });
        AppendNumbers(data, "source", [&](std::size_t at) { return Line(at).nSourceLine; });
        AppendNumbers(data, "origin", [&](std::size_t at) {
            return functions.emplace(Line(at).strFunction, functions.size()).first->second;
        });
        std::vector<std::string_view> names(functions.size());
        for (const auto& [name, number] : functions) {
            names[number] = name;
        }
        AppendTexts(data, "functions", names);
        std::vector<std::string_view> texts;
        texts.reserve(m_kept.size());
        for (const std::size_t at : m_kept) {
            texts.emplace_back(Line(at).strText);
        }
        AppendTexts(data, "text", texts);
        AppendSpans(data);
        data += "}";
    }

  private:
    const LogLine& Line(std::size_t at) const { return m_timeline.lines[at]; }

    template <typename Number>
    void AppendNumbers(std::string& data, const char* name, Number number) const {
        data.append(",\"").append(name).append("\":[");
        for (const std::size_t at : m_kept) {
            data += at == m_kept.front() ? "" : ",";
            data += std::to_string(number(at));
        }
        data += "]";
    }

    static void AppendTexts(std::string& data, const char* name, const std::vector<std::string_view>& texts) {
        data.append(",\"").append(name).append("\":[");
        bool first = true;
        for (const std::string_view text : texts) {
            data += first ? "" : ",";
            first = false;
            AppendJsonText(data, text);
        }
        data += "]";
    }

    void AppendSpans(std::string& data) const {
        data += ",\"spans\":[";
        bool first = true;
        for (std::size_t lane = 0; lane < m_timeline.lanes.size() && !m_kept.empty(); ++lane) {
            for (const TimelineSpan& span : m_timeline.lanes[lane].spans) {
                data.append(first ? "[" : ",[").append(std::to_string(lane));
                first = false;
                data.append(",").append(std::to_string(m_place[span.nFirstLine]));
                data.append(",").append(std::to_string(m_place[span.nLastLine]));
                data.append(",").append(std::to_string(KindOf(span)));
                data.append(span.bOpen ? ",1," : ",0,");
                AppendJsonText(data, ShortName(span));
                data += ",";
                AppendJsonText(data, WordsOf(span));
                data += "]";
            }
        }
        data += "]";
    }

    std::string WordsOf(const TimelineSpan& span) const {
        const std::int64_t lasted =
            std::max<std::int64_t>(Line(span.nLastLine).nTimeMs - Line(span.nFirstLine).nTimeMs, 0);
        return Seconds(lasted) + (span.strOutcome.empty() ? "" : ", " + span.strOutcome) +
               (span.bOpen ? ", to the end of the log" : "");
    }

    std::string Summary() const {
        if (m_timeline.lines.empty()) {
            return "The log holds no line.";
        }
        std::size_t requests = 0;
        std::size_t unanswered = 0;
        std::size_t beacons = 0;
        for (const TimelineLane& lane : m_timeline.lanes) {
            for (const TimelineSpan& span : lane.spans) {
                requests += span.bRequest ? 1 : 0;
                unanswered += span.bRequest && !span.bServed ? 1 : 0;
            }
            for (const TimelineMark& mark : lane.marks) {
                beacons += mark.kind == MarkKind::Beacon ? 1 : 0;
            }
        }
        const std::int64_t first = m_timeline.lines.front().nTimeMs;
        const std::int64_t last = m_timeline.lines.back().nTimeMs;
        std::string text = "From " + TimeOfDay(first) + " to " + TimeOfDay(last) + ", " +
                           Seconds(std::max<std::int64_t>(last - first, 0)) + ": " +
                           Count(m_timeline.lines.size(), "line") + ", " + Count(requests, "request") + " (" +
                           std::to_string(unanswered) + " unanswered), " + Count(beacons, "beacon") + ".";
        if (m_kept.size() < m_timeline.lines.size()) {
            text += " Of these lines " + std::to_string(m_timeline.lines.size() - m_kept.size()) +
                    " are not on this page, which would be too large: heartbeats and, if need be, the oldest. \"nexctl "
                    "log show\" prints them all.";
        }
        return text;
    }

    const Timeline& m_timeline;
    const std::string& m_title;
    std::vector<std::size_t> m_kept;   // the lines on the page
    std::vector<std::size_t> m_place;  // of every line: the place of the nearest kept one at or before it
};

// Writes the template with "@NAME@" replaced, once each and in order.
class CTemplate {
  public:
    CTemplate(std::string& page, std::string_view text) : m_page(page), m_rest(text) {}

    void UpTo(std::string_view name) {
        const std::size_t at = m_rest.find(name);
        m_page += m_rest.substr(0, at);
        m_rest.remove_prefix(at == std::string_view::npos ? m_rest.size() : at + name.size());
    }
    void ToTheEnd() { m_page += m_rest; }

  private:
    std::string& m_page;
    std::string_view m_rest;
};

}  // namespace

bool IsHeartbeat(const LogLine& line) {
    return line.strText == "enter WindowProc" || line.strText == "start hang check." ||
           line.strText.starts_with("CPU Usage for process ");
}

std::string TimelinePage(const std::vector<PageLog>& logs, std::size_t nMostLines) {
    std::vector<CPageLog> parts;
    parts.reserve(logs.size());
    for (const PageLog& log : logs) {
        parts.emplace_back(log, nMostLines / std::max<std::size_t>(logs.size(), 1));
    }
    const std::string title = logs.empty() ? "log" : logs.front().strTitle.substr(0, logs.front().strTitle.find(": "));
    std::string page;
    CTemplate text(page, kPageHtml);
    text.UpTo("@TITLE@");
    AppendEscaped(page, title);
    text.UpTo("@STYLE@");
    page += kPageCss;
    text.UpTo("@TITLE@");
    AppendEscaped(page, title);
    text.UpTo("@HEADS@");
    for (const CPageLog& part : parts) {
        part.AppendHead(page);
    }
    text.UpTo("@DATA@");
    page += "{\"logs\":[";
    for (const CPageLog& part : parts) {
        page += &part == parts.data() ? "" : ",";
        part.AppendData(page);
    }
    page += "]}";
    text.UpTo("@SCRIPT@");
    page += kPageJs;
    text.ToTheEnd();
    return page;
}
