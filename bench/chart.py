"""The chart of a run: the relay's ratio to nginx by measure, readable on light and dark pages."""

import html
import statistics

from goals import GOALS

WIDTH, LEFT, RIGHT, ROW, TOP, MOST = 900, 330, 60, 24, 64, 2.0
STYLE = """
  :root { color-scheme: light dark }
  .page { fill: #ffffff } .text { fill: #1f2328 } .faint { stroke: #d1d9e0 } .one { stroke: #59636e }
  .bar { fill: #3b7dd8 } .range { stroke: #1f2328 } .goal { fill: #c8372d }
  text { font: 12px system-ui, sans-serif } .title { font-size: 15px }
  .end { text-anchor: end } .middle { text-anchor: middle }
  @media (prefers-color-scheme: dark) {
    .page { fill: #0d1117 } .text { fill: #e6edf3 } .faint { stroke: #30363d } .one { stroke: #9198a1 }
    .bar { fill: #4a8fe7 } .range { stroke: #e6edf3 } .goal { fill: #ff7b72 }
  }
"""


def at(ratio):
    return LEFT + min(ratio, MOST) / MOST * (WIDTH - LEFT - RIGHT)


def text(x, y, words, kind=""):
    return f'<text x="{x:.0f}" y="{y:.0f}" class="text {kind}">{html.escape(words)}</text>'


def line(x1, y1, x2, y2, kind):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{kind}"/>'


def grid(bottom):
    shapes = []
    for step in range(5):
        x = at(step / 2)
        shapes += [line(x, TOP - 6, x, bottom, "one" if step == 2 else "faint"),
                   text(x, bottom + 16, f"{step / 2:.1f}", "middle")]
    return shapes


def row(goal, ratios, y):
    """The bar ends at the median, the line covers the rounds, the dot is what is to be reached."""
    middle = statistics.median(ratios)
    return [text(LEFT - 8, y + 4, goal.measure, "end"),
            f'<rect x="{LEFT}" y="{y - 7}" width="{at(middle) - LEFT:.1f}" height="14" class="bar"/>',
            line(at(min(ratios)), y, at(max(ratios)), y, "range"),
            f'<circle cx="{at(goal.wanted):.1f}" cy="{y}" r="4.5" class="goal"/>',
            text(WIDTH - RIGHT + 8, y + 4, f"{middle:.2f}")]


def draw(results):
    """An SVG document."""
    rows = [(goal, ratios) for goal in GOALS if (ratios := results.ratios(goal.measure, "relay", "nginx"))]
    bottom = TOP + len(rows) * ROW
    shapes = [f'<rect width="{WIDTH}" height="{bottom + 28}" class="page"/>',
              text(20, 24, "The relay against nginx (1.0)", "title"),
              text(20, 42, "bar: median ratio; line: least and greatest of the rounds; dot: what is to be reached, "
                           "at most, or at least for requests per second"), *grid(bottom)]
    for number, (goal, ratios) in enumerate(rows):
        shapes += row(goal, ratios, TOP + number * ROW + ROW // 2)
    size = f'width="{WIDTH}" height="{bottom + 28}" viewBox="0 0 {WIDTH} {bottom + 28}"'
    return f'<svg xmlns="http://www.w3.org/2000/svg" {size}>\n<style>{STYLE}</style>\n' + "\n".join(shapes) + "\n</svg>\n"
