#include "nexctl/log_page.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace {

constexpr double kLaneHeight = 62;
constexpr double kSpanHeight = 15;
constexpr int kSpanRows = 2;
constexpr double kTop = 34;
constexpr double kTickPx = 90;
constexpr double kMaxWidth = 24000;

constexpr char kHead[] = R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>)html";

constexpr char kStyle[] = R"html(</title>
<style>
  :root { color-scheme: light; }
  body { font: 13px/1.45 "Segoe UI", "DejaVu Sans", sans-serif; margin: 0; color: #1d2733; background: #fff; }
  header { padding: 14px 18px 8px; }
  h1 { font-size: 17px; margin: 0 0 4px; overflow-wrap: anywhere; }
  p { margin: 2px 0; color: #51606f; max-width: 110ch; }
  .legend span { margin-right: 16px; white-space: nowrap; }
  .key { display: inline-block; width: 10px; height: 10px; margin-right: 5px; }
  .chart { display: flex; border-top: 1px solid #d5dce3; border-bottom: 1px solid #d5dce3; }
  .names { flex: none; width: 128px; background: #f5f7f9; border-right: 1px solid #d5dce3; }
  .names div { box-sizing: border-box; height: 62px; padding: 6px 10px; border-bottom: 1px solid #e4e9ee; font-weight: 600; }
  .names div:first-child { height: 34px; font-weight: normal; color: #51606f; }
  .names small { display: block; font-weight: normal; color: #51606f; }
  .lanes { overflow-x: auto; flex: auto; }
  svg { display: block; font: 11px "Segoe UI", "DejaVu Sans", sans-serif; }
  a { color: inherit; text-decoration: none; }
  .span { fill: #c9d8e8; stroke: #7d97b3; } .request { fill: #bfe3c6; stroke: #4c9a5e; }
  .unanswered { fill: #fbe0b4; stroke: #c08a2c; } .refused { fill: #f6c9c6; stroke: #c1433b; }
  .tick { stroke: #8796a5; } .Beacon { fill: #7b4fb5; } .Timer { fill: #1f78b4; } .Refusal { fill: #c1433b; }
  .grid { stroke: #edf1f4; } .row { stroke: #e4e9ee; } .time { fill: #51606f; }
  .filter { padding: 10px 18px; position: sticky; top: 0; background: #fff; border-bottom: 1px solid #d5dce3; }
  .filter input { font: inherit; width: 34ch; padding: 3px 6px; }
  table { border-collapse: collapse; width: 100%; }
  td { padding: 1px 10px; vertical-align: top; border-bottom: 1px solid #f0f3f5; }
  td:nth-child(1), td:nth-child(2), td:nth-child(3) { white-space: nowrap; color: #51606f; }
  td:nth-child(4) { white-space: pre-wrap; overflow-wrap: anywhere; font-family: Consolas, "DejaVu Sans Mono", monospace; font-size: 12px; }
  tr:target { background: #fff3c4; } tr.Refusal td:nth-child(4) { color: #a3271f; } tr.Beacon td:nth-child(4) { color: #5d3796; }
</style>
</head>
<body>
<header>
<h1>)html";

constexpr char kLegend[] =
    R"html(<p class="legend"><span><i class="key" style="background:#bfe3c6"></i>request with its reply</span><span><i class="key" style="background:#fbe0b4"></i>request without a reply</span><span><i class="key" style="background:#f6c9c6"></i>refused message</span><span><i class="key" style="background:#c9d8e8"></i>other work</span><span><i class="key" style="background:#7b4fb5"></i>beacon</span><span><i class="key" style="background:#1f78b4"></i>timer</span><span><i class="key" style="background:#c1433b"></i>refusal</span></p>
<p>The axis is not even: each step grows with the logarithm of the time between two lines, so that bursts and pauses can both be read. The log names functions and no threads; lanes are told from the functions. A click leads to the line.</p>
</header>
)html";

constexpr char kFilter[] =
    R"html(<div class="filter"><label>Function or text <input id="filter" type="search" placeholder="all lines"></label> <output id="count"></output></div>
<table id="lines"><tbody>
)html";

constexpr char kScript[] = R"html(</tbody></table>
<script>
  const filter = document.getElementById('filter'), count = document.getElementById('count');
  const rows = [...document.querySelectorAll('#lines tr')];
  function apply() {
    const wanted = filter.value.toLowerCase();
    let shown = 0;
    for (const row of rows) {
      const fits = row.textContent.toLowerCase().includes(wanted);
      row.hidden = !fits;
      shown += fits;
    }
    count.textContent = shown + ' of ' + rows.length + ' lines';
  }
  filter.addEventListener('input', apply);
  // "#find=TEXT" opens the page with a filter set.
  if (location.hash.startsWith('#find=')) filter.value = decodeURIComponent(location.hash.slice(6));
  apply();
</script>
</body>
</html>
)html";

std::string Escaped(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                // Other control characters are none that a page may hold.
                result += static_cast<unsigned char>(c) >= 0x20 || c == '\n' || c == '\t' ? c : ' ';
        }
    }
    return result;
}

std::string Px(double value) {
    return std::to_string(static_cast<long long>(std::llround(value)));
}

std::string Seconds(std::int64_t ms) {
    return std::to_string(ms / 1000) + "." + std::to_string(1000 + ms % 1000).substr(1) + " s";
}

// Where each moment stands on the axis.
class CAxis {
  public:
    explicit CAxis(const std::vector<LogLine>& lines) {
        for (const LogLine& line : lines) {
            m_places[line.nTimeMs] = 0;
        }
        double x = 10;
        std::int64_t before = 0;
        for (auto& [time, place] : m_places) {
            if (x > 10 || before != 0) {
                x += 22 + 8 * std::log2(static_cast<double>(time - before));
            }
            before = time;
            place = x;
        }
        // A log of days would be a page that nobody can scroll.
        m_scale = std::min(1.0, kMaxWidth / (x + 1));
        m_width = std::max(x * m_scale + 160, 760.0);
    }

    double Width() const { return m_width; }
    double X(std::int64_t time) const {
        const auto found = m_places.find(time);
        return found == m_places.end() ? 0 : found->second * m_scale;
    }
    const std::map<std::int64_t, double>& Places() const { return m_places; }

  private:
    std::map<std::int64_t, double> m_places;
    double m_scale = 1;
    double m_width = 0;
};

std::string Tooltip(const std::string& text) {
    constexpr std::size_t kMost = 400;
    return "<title>" + Escaped(text.size() <= kMost ? text : text.substr(0, kMost) + "...") + "</title>";
}

class CPage {
  public:
    CPage(const Timeline& timeline, const std::string& title)
        : m_timeline(timeline), m_title(title), m_axis(timeline.lines) {}

    std::string Make() {
        m_page = kHead + Escaped(m_title) + kStyle + Escaped(m_title) + "</h1>\n" + Summary() + kLegend;
        Chart();
        m_page += kFilter;
        Lines();
        m_page += kScript;
        return std::move(m_page);
    }

  private:
    std::int64_t TimeOf(std::size_t line) const { return m_timeline.lines[line].nTimeMs; }
    double X(std::size_t line) const { return m_axis.X(TimeOf(line)); }

    std::string Summary() const {
        if (m_timeline.lines.empty()) {
            return "<p>The log holds no line.</p>\n";
        }
        std::size_t requests = 0;
        std::size_t unanswered = 0;
        std::size_t beacons = 0;
        for (const TimelineLane& lane : m_timeline.lanes) {
            for (const TimelineSpan& span : lane.spans) {
                requests += span.bRequest ? 1 : 0;
                unanswered += span.bRequest && !span.strOutcome.starts_with("replied") ? 1 : 0;
            }
            for (const TimelineMark& mark : lane.marks) {
                beacons += mark.kind == MarkKind::Beacon ? 1 : 0;
            }
        }
        const auto& places = m_axis.Places();
        const std::int64_t first = places.begin()->first;
        const std::int64_t last = places.rbegin()->first;
        return "<p>From " + TimeOfDay(first) + " to " + TimeOfDay(last) + ", " + Seconds(last - first) + ": " +
               std::to_string(m_timeline.lines.size()) + " lines, " + std::to_string(requests) + " requests (" +
               std::to_string(unanswered) + " without a reply), " + std::to_string(beacons) + " beacons.</p>\n";
    }

    void Chart() {
        const double height = kTop + kLaneHeight * static_cast<double>(m_timeline.lanes.size());
        m_page += "<div class=\"chart\"><div class=\"names\"><div>time</div>";
        for (const TimelineLane& lane : m_timeline.lanes) {
            m_page += "<div>" + Escaped(lane.strName) + "<small>" + std::to_string(lane.marks.size()) +
                      " lines</small></div>";
        }
        m_page += "</div><div class=\"lanes\"><svg width=\"" + Px(m_axis.Width()) + "\" height=\"" + Px(height) +
                  "\" role=\"img\" aria-label=\"Timeline\">\n";
        Ticks(height);
        double y = kTop;
        for (const TimelineLane& lane : m_timeline.lanes) {
            Row(lane, y);
            y += kLaneHeight;
        }
        m_page += "</svg></div></div>\n";
    }

    void Ticks(double height) {
        double last = -kTickPx;
        const auto& places = m_axis.Places();
        for (const auto& [time, unused] : places) {
            const double x = m_axis.X(time);
            if (x - last < kTickPx) {
                continue;
            }
            last = x;
            const std::string at = Px(x);
            m_page.append("<line class=\"grid\" x1=\"").append(at).append("\" x2=\"").append(at);
            m_page.append("\" y1=\"24\" y2=\"").append(Px(height)).append("\"/>");
            m_page.append("<text class=\"time\" x=\"").append(at).append("\" y=\"12\">");
            m_page.append(TimeOfDay(time)).append("</text><text class=\"time\" x=\"").append(at);
            m_page.append("\" y=\"24\">+").append(Seconds(time - places.begin()->first)).append("</text>\n");
        }
    }

    void Row(const TimelineLane& lane, double y) {
        m_page += "<g class=\"lane\"><line class=\"row\" x1=\"0\" x2=\"" + Px(m_axis.Width()) + "\" y1=\"" +
                  Px(y + kLaneHeight) + "\" y2=\"" + Px(y + kLaneHeight) + "\"/>\n";
        // Spans that lie over each other take the next row.
        double ends[kSpanRows] = {};
        for (const TimelineSpan& span : lane.spans) {
            const double x = X(span.nFirstLine);
            const double width = std::max(X(span.nLastLine) - x, 5.0);
            const int row = x >= ends[0] ? 0 : 1;
            ends[row] = std::max(ends[row], x + width);
            Span(span, x, y + 4 + row * (kSpanHeight + 3), width);
        }
        for (const TimelineMark& mark : lane.marks) {
            Mark(mark, y + kLaneHeight - 12);
        }
        m_page += "</g>\n";
    }

    void Span(const TimelineSpan& span, double x, double y, double width) {
        const char* kind = !span.bRequest                           ? "span"
                           : span.strOutcome.starts_with("replied") ? "request"
                           : span.strOutcome.starts_with("refused") ? "refused"
                                                                    : "unanswered";
        const std::int64_t lasted = std::max<std::int64_t>(TimeOf(span.nLastLine) - TimeOf(span.nFirstLine), 0);
        std::string words = span.strName + ", " + Seconds(lasted);
        if (!span.strOutcome.empty()) {
            words += ", " + span.strOutcome;
        }
        if (span.bOpen) {
            words += ", to the end of the log";
        }
        m_page += "<a href=\"#l" + std::to_string(span.nFirstLine) + "\"><rect class=\"" + kind + "\" rx=\"2\" x=\"" +
                  Px(x) + "\" y=\"" + Px(y) + "\" width=\"" + Px(width) + "\" height=\"" + Px(kSpanHeight) + "\">" +
                  Tooltip(words) + "</rect>";
        // About six pixels a letter; a name that does not fit stands in the tip alone.
        if (static_cast<double>(span.strName.size()) * 6.2 + 6 < width) {
            m_page += "<text x=\"" + Px(x + 4) + "\" y=\"" + Px(y + 11) + "\">" + Escaped(span.strName) + "</text>";
        }
        m_page += "</a>\n";
    }

    void Mark(const TimelineMark& mark, double y) {
        const double x = X(mark.nLine);
        const std::string tip = Tooltip(LogLineText(m_timeline.lines[mark.nLine]));
        const std::string link = "<a href=\"#l" + std::to_string(mark.nLine) + "\">";
        const auto shape = [&](const char* kind, const std::string& points) {
            m_page += link + "<polygon class=\"" + kind + "\" points=\"" + points + "\">" + tip + "</polygon></a>\n";
        };
        const std::string left = Px(x - 5);
        const std::string right = Px(x + 5);
        const std::string middle = Px(x);
        switch (mark.kind) {
            case MarkKind::Beacon:
                shape("Beacon", middle + "," + Px(y - 6) + " " + right + "," + Px(y) + " " + middle + "," + Px(y + 6) +
                                    " " + left + "," + Px(y));
                break;
            case MarkKind::Timer:
                shape("Timer", left + "," + Px(y + 5) + " " + right + "," + Px(y + 5) + " " + middle + "," + Px(y - 5));
                break;
            case MarkKind::Refusal:
                m_page += link + "<circle class=\"Refusal\" r=\"5\" cx=\"" + middle + "\" cy=\"" + Px(y) + "\">" + tip +
                          "</circle></a>\n";
                break;
            case MarkKind::Line:
                m_page += link + "<line class=\"tick\" x1=\"" + middle + "\" x2=\"" + middle + "\" y1=\"" + Px(y - 4) +
                          "\" y2=\"" + Px(y + 4) + "\">" + tip + "</line></a>\n";
                break;
        }
    }

    void Lines() {
        std::vector<const char*> kinds(m_timeline.lines.size(), "");
        for (const TimelineLane& lane : m_timeline.lanes) {
            for (const TimelineMark& mark : lane.marks) {
                kinds[mark.nLine] = mark.kind == MarkKind::Beacon    ? "Beacon"
                                    : mark.kind == MarkKind::Refusal ? "Refusal"
                                                                     : "";
            }
        }
        for (std::size_t at = 0; at < m_timeline.lines.size(); ++at) {
            const LogLine& line = m_timeline.lines[at];
            std::string origin = Escaped(line.strFunction);
            if (!line.strFunction.empty()) {
                origin += ":" + std::to_string(line.nSourceLine);
            }
            m_page += "<tr id=\"l" + std::to_string(at) + "\" class=\"" + kinds[at] + "\"><td>" +
                      TimeOfDay(line.nTimeMs) + "</td><td>" + Escaped(m_timeline.lanes[m_timeline.laneOf[at]].strName) +
                      "</td><td>" + origin + "</td><td>" + Escaped(line.strText) + "</td></tr>\n";
        }
    }

    const Timeline& m_timeline;
    const std::string& m_title;
    const CAxis m_axis;
    std::string m_page;
};

}  // namespace

std::string TimelinePage(const Timeline& timeline, const std::string& title) {
    return CPage(timeline, title).Make();
}
