#!/usr/bin/env python3
"""Draws the table of a run: throughput and processor time of every side of every row.

Usage: plot.py FIGURES.json PICTURE.svg

FIGURES.json is what run_bench writes with --json. The picture brings its own background, light or
dark as the reader prefers; a viewer that knows nothing of that shows the light one on any page.
"""
import json
import sys
from xml.sax.saxutils import escape

# How a side is drawn, by the start of its name; the first that fits. Class, words of the legend.
KINDS = [
    ("engine", "engine", "the engine"),
    ("ring, ", "variant", "the ring, otherwise prepared"),
    ("ring", "ring", "a bare ring: the machine's limit"),
    ("page cache", "peer", "through the page cache"),
]

# The machine's limit stands beside the engine.
LEGEND = sorted(((shape, words) for _, shape, words in KINDS), key=lambda kind: kind[0] == "variant")

WIDTH = 1000
MARGIN = 16
NAMES = 250  # where the bars of throughput begin
MIDDLE = 650  # where those of processor time begin
BAR = 13
STEP = 18
ROW_GAP = 34
FIGURE_ROOM = 74  # behind the longest bar, for its figure

STYLE = """
  .page { fill: #ffffff; }
  text { font: 12px system-ui, sans-serif; fill: #24292f; }
  .title { font-size: 17px; font-weight: 600; }
  .row { font-weight: 600; }
  .quiet { fill: #59636e; }
  .line { stroke: #d1d9e0; }
  .engine { fill: #0969da; }
  .ring { fill: #57606a; }
  .variant { fill: #9aa4af; }
  .peer { fill: #bf8700; }
  @media (prefers-color-scheme: dark) {
    .page { fill: #0d1117; }
    text { fill: #e6edf3; }
    .quiet { fill: #9198a1; }
    .line { stroke: #3d444d; }
    .engine { fill: #58a6ff; }
    .ring { fill: #afb8c1; }
    .variant { fill: #6e7681; }
    .peer { fill: #d4a72c; }
  }
"""


def kind_of(name):
    """The class and the legend's words of a side."""
    for start, shape, words in KINDS:
        if name.startswith(start):
            return shape, words
    raise SystemExit(f"plot.py: a side of no known kind: {name}")


class Picture:
    """Collects the shapes from top to bottom."""

    def __init__(self):
        self.parts = []
        self.y = 0

    def text(self, x, words, shape="", anchor="start"):
        """Words whose middle is at the present height."""
        self.parts.append(
            f'<text x="{x:.1f}" y="{self.y:.1f}" class="{shape}" text-anchor="{anchor}" '
            f'dy="0.35em">{escape(words)}</text>'
        )

    def bar(self, x, length, shape):
        """A bar around the present height."""
        self.parts.append(
            f'<rect x="{x:.1f}" y="{self.y - BAR / 2:.1f}" width="{max(length, 1):.1f}" '
            f'height="{BAR}" rx="2" class="{shape}"/>'
        )

    def line(self):
        """A line across, at the present height."""
        self.parts.append(
            f'<line x1="{MARGIN}" x2="{WIDTH - MARGIN}" y1="{self.y:.1f}" y2="{self.y:.1f}" '
            'class="line"/>'
        )

    def whole(self):
        """The file's text."""
        head = (
            f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{self.y:.0f}" '
            f'viewBox="0 0 {WIDTH} {self.y:.0f}" role="img">\n'
            "<title>Throughput and processor time, the engine beside the ring and the page cache"
            f"</title>\n<style>{STYLE}</style>\n"
        )
        head += f'<rect class="page" width="{WIDTH}" height="{self.y:.0f}" rx="8"/>\n'
        return head + "\n".join(self.parts) + "\n</svg>\n"


def drawn_rows(table):
    """The rows that have a throughput."""
    return [row for row in table["rows"] if any("mb_per_s" in s for s in row.get("sides", []))]


def draw_head(picture, table, rows):
    """The title, what was measured on, the legend and the headings of both columns."""
    picture.y = 24
    picture.text(MARGIN, "The engine beside the machine's limit and what would be used instead", "title")
    for key in ("machine", "sizes", "load"):
        picture.y += 20
        picture.text(MARGIN, f"{key}: {table['run'].get(key, 'unknown')}", "quiet")
    picture.y += 26
    x = MARGIN
    present = {kind_of(side["name"]) for row in rows for side in row["sides"]}
    for shape, words in LEGEND:
        if (shape, words) not in present:
            continue
        picture.bar(x, BAR, shape)
        picture.text(x + BAR + 6, words)
        x += BAR + 30 + 6.4 * len(words)
    picture.y += 28
    picture.text(NAMES, "throughput, MB/s", "row")
    picture.text(MIDDLE, "processor time, us/MB; rows differ in scale", "row")


def draw_row(picture, row, fastest):
    """A row's heading, and for each of its sides a line with two bars."""
    picture.y += ROW_GAP - STEP
    picture.line()
    picture.y += STEP
    picture.text(MARGIN, row["name"], "row")
    dearest = max(side["cpu_us_per_mb"] for side in row["sides"]) or 1
    for side in row["sides"]:
        picture.y += STEP
        shape, _ = kind_of(side["name"])
        picture.text(NAMES - 8, side["name"], "quiet", "end")
        for x, room, value, most, digits in (
            (NAMES, MIDDLE - NAMES, side["mb_per_s"], fastest, 0),
            (MIDDLE, WIDTH - MARGIN - MIDDLE, side["cpu_us_per_mb"], dearest, 1),
        ):
            length = (room - FIGURE_ROOM) * value / most
            picture.bar(x, length, shape)
            picture.text(x + length + 6, f"{value:.{digits}f}")


def draw(table):
    """The picture of a whole table."""
    rows = drawn_rows(table)
    if not rows:
        raise SystemExit("plot.py: the table holds no row with a throughput")
    picture = Picture()
    draw_head(picture, table, rows)
    fastest = max(side["mb_per_s"] for row in rows for side in row["sides"]) or 1
    for row in rows:
        draw_row(picture, row, fastest)
    picture.y += 28
    return picture.whole()


def main():
    """Reads the figures and writes the picture."""
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    try:
        with open(sys.argv[1], encoding="utf-8") as file:
            table = json.load(file)
    except (OSError, ValueError) as failure:
        raise SystemExit(f"plot.py: {failure}; ./run bench makes the figures") from failure
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write(draw(table))


if __name__ == "__main__":
    main()
