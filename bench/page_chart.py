"""The picture of the page: a bar for each ratio, with its quartiles and its aim."""
import re
from xml.sax.saxutils import escape

ROW, TOP, LEFT, WIDTH, RIGHT = 26, 34, 500, 330, 120
GOOD, BAD, INK, LINE = "#2e7d4f", "#b3402f", "#24292f", "#8a929a"


def chart(aims):
    """aims: (what, the aim in words, ratio, whether it is met). SVG, the ratios from 0 to the largest."""
    largest = max(2.0, *(ratio.high for _, _, ratio, _ in aims)) * 1.02

    def at(value):
        return LEFT + WIDTH * value / largest

    height = TOP + ROW * len(aims) + 10
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + RIGHT}" height="{height}" font-size="12" '
           'font-family="sans-serif" role="img"><title>The helper beside its peers: ratios, quartiles and aims</title>',
           f'<rect width="100%" height="100%" fill="#ffffff"/><text x="10" y="18" fill="{INK}" font-weight="bold">'
           'ratio to the peer (bar: median, black line: quartiles, grey mark: aim)</text>']
    for index, (what, words, ratio, good) in enumerate(aims):
        y = TOP + ROW * index
        limit = float(re.search(r"[\d.]+", words).group())
        out.append(f'<text x="{LEFT - 8}" y="{y + 15}" text-anchor="end" fill="{INK}">{escape(what)}</text>'
                   f'<rect x="{LEFT}" y="{y + 4}" width="{at(ratio.median) - LEFT:.1f}" height="14" fill="{GOOD if good else BAD}"/>'
                   f'<path d="M{at(ratio.low):.1f} {y + 11}H{at(ratio.high):.1f}" stroke="{INK}" stroke-width="2"/>'
                   f'<path d="M{at(limit):.1f} {y + 1}V{y + 21}" stroke="{LINE}" stroke-width="2"/>'
                   f'<text x="{LEFT + WIDTH + 8}" y="{y + 15}" fill="{INK}">{ratio.median:.2f}, {words}</text>')
    return "\n".join(out + ["</svg>"]) + "\n"
