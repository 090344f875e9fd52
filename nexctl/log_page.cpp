#include "nexctl/log_page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace {

constexpr double kSpanHeight = 15;
constexpr double kSpanStep = 18;
constexpr std::size_t kSpanRows = 2;
constexpr double kMarksHeight = 24;
constexpr double kTop = 34;
constexpr double kTickPx = 90;
// About this wide is a letter on the chart.
constexpr double kLetterPx = 6.2;
// The axis between two moments: a step, and more of it by the logarithm of the milliseconds between them.
constexpr double kStepPx = 12;
constexpr double kDoublingPx = 6;
// A life is drawn closer or wider to come to this, within reason; one of days closer than that, or nobody could scroll
// it.
constexpr double kEasyWidth = 1030;
constexpr double kClosest = 0.55;
constexpr double kWidest = 2.5;
constexpr double kMaxWidth = 24000;
// Behind the last moment, for what is written there.
constexpr double kEndPx = 84;

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
  p { margin: 2px 0; color: #51606f; max-width: 150ch; }
  .legend { max-width: none; }
  .legend span { margin-right: 16px; white-space: nowrap; }
  .key { display: inline-block; width: 10px; height: 10px; margin-right: 5px; }
  .chart { display: flex; border-top: 1px solid #d5dce3; border-bottom: 1px solid #d5dce3; }
  .names { flex: none; background: #f5f7f9; border-right: 1px solid #d5dce3; white-space: nowrap; }
  .names div { box-sizing: border-box; padding: 3px 12px 0 18px; border-bottom: 1px solid #e4e9ee; font-weight: 600; line-height: 1.3; }
  .names div:first-child { padding-top: 8px; font-weight: normal; color: #51606f; }
  .names small { display: block; font-weight: normal; color: #51606f; }
  .lanes { overflow-x: auto; flex: auto; }
  svg { display: block; min-width: 100%; font: 11px "Segoe UI", "DejaVu Sans", sans-serif; }
  a { color: inherit; text-decoration: none; }
  .span { fill: #c9d8e8; stroke: #7d97b3; } .request { fill: #bfe3c6; stroke: #4c9a5e; }
  .unanswered { fill: #fbe0b4; stroke: #c08a2c; } .refused { fill: #f6c9c6; stroke: #c1433b; }
  .open { fill-opacity: .45; stroke-dasharray: 3 2; }
  .tick { stroke: #5f7081; } .Beacon { fill: #7b4fb5; } .Timer { fill: #1f78b4; } .Refusal { fill: #c1433b; }
  .grid { stroke: #edf1f4; } .row { stroke: #e4e9ee; } .time { fill: #51606f; }
  .filter { padding: 10px 18px; position: sticky; top: 0; background: #fff; border-bottom: 1px solid #d5dce3; }
  .filter input { font: inherit; width: 34ch; padding: 3px 6px; }
  table { border-collapse: collapse; width: 100%; }
  td { padding: 1px 10px; vertical-align: top; border-bottom: 1px solid #f0f3f5; }
  td:nth-child(1), td:nth-child(2), td:nth-child(3) { white-space: nowrap; color: #51606f; }
  td:nth-child(4) { white-space: pre-wrap; overflow-wrap: anywhere; font-family: Consolas, "DejaVu Sans Mono", monospace; font-size: 12px; }
  tr { scroll-margin-top: 50px; }
  tr:target { background: #fff3c4; } tr.Refusal td:nth-child(4) { color: #a3271f; } tr.Beacon td:nth-child(4) { color: #5d3796; }
</style>
</head>
<body>
<header>
<h1>)html";

constexpr char kLegend[] =
    R"html(<p class="legend"><span><i class="key" style="background:#bfe3c6"></i>request that was served</span><span><i class="key" style="background:#fbe0b4"></i>request left unanswered</span><span><i class="key" style="background:#f6c9c6"></i>refused message</span><span><i class="key" style="background:#c9d8e8"></i>other work; dashed: no line tells its end</span><span><i class="key" style="background:#7b4fb5"></i>beacon</span><span><i class="key" style="background:#1f78b4"></i>timer</span><span><i class="key" style="background:#c1433b"></i>refusal</span></p>
<p>A lane shows its work and, below, a mark for each of its lines. The axis is not even: a step grows with the logarithm of the time between two lines, so that bursts and pauses can both be read. The log names functions and no threads; lanes are told from the functions. A click leads to the line.</p>
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
                x += kStepPx + kDoublingPx * std::log2(static_cast<double>(time - before));
            }
            before = time;
            place = x;
        }
        m_scale = std::min(std::clamp(kEasyWidth / (x + 1), kClosest, kWidest), kMaxWidth / (x + 1));
        m_width = std::max(x * m_scale + kEndPx, 760.0);
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
                unanswered += span.bRequest && !span.bServed ? 1 : 0;
            }
            for (const TimelineMark& mark : lane.marks) {
                beacons += mark.kind == MarkKind::Beacon ? 1 : 0;
            }
        }
        const auto& places = m_axis.Places();
        const std::int64_t first = places.begin()->first;
        const std::int64_t last = places.rbegin()->first;
        return "<p>From " + TimeOfDay(first) + " to " + TimeOfDay(last) + ", " + Seconds(last - first) + ": " +
               Count(m_timeline.lines.size(), "line") + ", " + Count(requests, "request") + " (" +
               std::to_string(unanswered) + " unanswered), " + Count(beacons, "beacon") + ".</p>\n";
    }

    // Where a span stands in its lane.
    struct Place {
        double x;
        double width;
        std::size_t row;
        double room;  // for a name behind it
    };

    std::vector<Place> PlacesOf(const TimelineLane& lane) const {
        std::vector<Place> places;
        std::array<std::size_t, kSpanRows> last;
        last.fill(lane.spans.size());
        for (const TimelineSpan& span : lane.spans) {
            const double x = X(span.nFirstLine);
            // Spans that lie over each other take the next row.
            std::size_t row = 0;
            while (row + 1 < kSpanRows && last[row] < places.size() &&
                   x < places[last[row]].x + places[last[row]].width) {
                ++row;
            }
            if (last[row] < places.size()) {
                Place& before = places[last[row]];
                before.room = x - before.x - before.width;
            }
            last[row] = places.size();
            const double width = std::max(X(span.nLastLine) - x, 5.0);
            places.push_back({x, width, row, m_axis.Width() - x - width});
        }
        return places;
    }

    static double HeightOf(const std::vector<Place>& places) {
        std::size_t rows = 1;
        for (const Place& place : places) {
            rows = std::max(rows, place.row + 1);
        }
        return kSpanStep * static_cast<double>(rows) + kMarksHeight;
    }

    void Chart() {
        std::vector<std::vector<Place>> places;
        double height = kTop;
        m_page += "<div class=\"chart\"><div class=\"names\"><div style=\"height:" + Px(kTop) + "px\">time</div>";
        for (const TimelineLane& lane : m_timeline.lanes) {
            places.push_back(PlacesOf(lane));
            const double lanesHeight = HeightOf(places.back());
            height += lanesHeight;
            m_page += "<div style=\"height:" + Px(lanesHeight) + "px\">" + Escaped(lane.strName) + "<small>" +
                      Count(lane.marks.size(), "line") + "</small></div>";
        }
        m_page += "</div><div class=\"lanes\"><svg width=\"" + Px(m_axis.Width()) + "\" height=\"" + Px(height) +
                  "\" role=\"img\" aria-label=\"Timeline\">\n";
        Ticks(height);
        double y = kTop;
        for (std::size_t i = 0; i < m_timeline.lanes.size(); ++i) {
            Row(m_timeline.lanes[i], places[i], y);
            y += HeightOf(places[i]);
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

    void Row(const TimelineLane& lane, const std::vector<Place>& places, double y) {
        const double bottom = y + HeightOf(places);
        m_page += "<g class=\"lane\"><line class=\"row\" x1=\"0\" x2=\"100%\" y1=\"" + Px(bottom) + "\" y2=\"" +
                  Px(bottom) + "\"/>\n";
        for (std::size_t i = 0; i < lane.spans.size(); ++i) {
            Span(lane.spans[i], places[i], y + 4 + kSpanStep * static_cast<double>(places[i].row));
        }
        for (const TimelineMark& mark : lane.marks) {
            Mark(mark, bottom - 10);
        }
        m_page += "</g>\n";
    }

    void Span(const TimelineSpan& span, const Place& place, double y) {
        const char* kind = !span.bRequest                           ? "span"
                           : span.bServed                           ? "request"
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
        m_page += "<a href=\"#l" + std::to_string(span.nFirstLine) + "\"><rect class=\"" + kind +
                  (span.bOpen ? " open" : "") + "\" rx=\"2\" x=\"" + Px(place.x) + "\" y=\"" + Px(y) + "\" width=\"" +
                  Px(place.width) + "\" height=\"" + Px(kSpanHeight) + "\">" + Tooltip(words) + "</rect>";
        // In the span, else behind it; where it fits in neither it stands in the tip alone.
        const std::string name = ShortName(span);
        const double wide = static_cast<double>(name.size()) * kLetterPx + 6;
        const bool bInside = wide < place.width;
        if (bInside || wide < place.room) {
            m_page += "<text x=\"" + Px(bInside ? place.x + 4 : place.x + place.width + 3) + "\" y=\"" + Px(y + 11) +
                      "\">" + Escaped(name) + "</text>";
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
