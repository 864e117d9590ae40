#!/usr/bin/env python3
"""The picture of a table is well formed and shows every side of every row that has a throughput.

Usage: plot_test.py PLOT.py FIGURES.json PICTURE.svg
"""
import json
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

plot, figures, picture = sys.argv[1:]
subprocess.run([sys.executable, plot, figures, picture], check=True)
NAMES = "{http://www.w3.org/2000/svg}"
root = ElementTree.parse(picture).getroot()
texts = [element.text for element in root.iter(NAMES + "text")]
bars = list(root.iter(NAMES + "rect"))

with open(figures, encoding="utf-8") as file:
    rows = [row for row in json.load(file)["rows"] if "mb_per_s" in row.get("sides", [{}])[0]]
assert len(rows) >= 8, f"only {len(rows)} rows have a throughput"
sides = 0
for row in rows:
    assert row["name"] in texts, f"the picture lacks {row['name']}"
    for side in row["sides"]:
        sides += 1
        for words in (side["name"], f"{side['mb_per_s']:.0f}", f"{side['cpu_us_per_mb']:.1f}"):
            assert words in texts, f"the picture lacks {words} of {row['name']}"
legend = sum(words in texts for words in ("the engine", "through the page cache"))
assert legend == 2, "the legend is not whole"
assert len(bars) >= 2 * sides + legend, f"{len(bars)} bars for {sides} sides"
for bar in bars:
    end = float(bar.get("x", 0)) + float(bar.get("width"))
    assert end <= float(root.get("width")), "a bar leaves the picture"

table = {"run": {}, "rows": [{"name": "counted", "bars": []}]}
with open(picture + ".json", "w", encoding="utf-8") as file:
    json.dump(table, file)
refused = subprocess.run([sys.executable, plot, file.name, picture], capture_output=True, check=False)
assert refused.returncode != 0 and b"no row with a throughput" in refused.stderr
print(f"{len(rows)} rows, {sides} sides, {len(bars)} bars")
