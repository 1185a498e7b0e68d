#!/usr/bin/env python3
"""Writes the table of docs/performance.md, between its markers, and docs/performance.svg from the file of results."""

import json
import os
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

from rows.table import MEANING  # noqa: E402

DOCUMENTS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "docs")
BEGIN = "<!-- measured -->"
END = "<!-- /measured -->"

# Readable on white and on black alike.
OURS = "#2f81c7"
MISSED = "#d1731f"
INK = "#808080"


def is_met(row):
    return row["goal"] is None or row["median"] <= row["goal"]


def figure(value):
    return f"{value:.2f}"


def table(rows):
    lines = ["| name | ours | against | median | min | max | goal | |", "|---|---|---|---|---|---|---|---|"]
    for name, (ours, peer) in MEANING.items():
        if name not in rows:
            continue
        row = rows[name]
        figures = " | ".join(figure(row[key]) for key in ("median", "least", "most"))
        goal, verdict = ("-", "") if row["goal"] is None else (row["goal"], "met" if is_met(row) else "missed")
        lines.append(f"| `{name}` | {ours} | {peer or '-'} | {figures} | {goal} | {verdict} |")
    return "\n".join(lines)


def write_table(rows):
    path = os.path.join(DOCUMENTS, "performance.md")
    with open(path, encoding="utf-8") as file:
        text = file.read()
    before, rest = text.split(BEGIN)
    behind = rest.split(END)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write(f"{before}{BEGIN}\n{table(rows)}\n{END}{behind}")


def write_chart(rows):
    """Each ratio as a bar beside the peer, which is 1, with the spread of all pairs and a mark at the goal."""
    names = [name for name in MEANING if name in rows and MEANING[name][1]]
    plt.rcParams.update({"svg.fonttype": "none", "svg.hashsalt": "performance", "font.size": 9})
    plt.rcParams.update(
        {key: INK for key in ("text.color", "axes.edgecolor", "axes.labelcolor", "xtick.color", "ytick.color")}
    )
    drawing, axes = plt.subplots(figsize=(8, 0.32 * len(names) + 1.2))
    for place, name in enumerate(names):
        row = rows[name]
        axes.barh(place, row["median"], color=OURS if is_met(row) else MISSED, height=0.45)
        axes.plot([row["least"], row["most"]], [place, place], color=INK, linewidth=1.2)
        if row["goal"] is not None:
            axes.plot(row["goal"], place, marker="|", markersize=19, markeredgewidth=2, color=INK)
    axes.axvline(1, color=INK, linestyle=":", linewidth=1)
    axes.set_xscale("log")
    axes.set_yticks(range(len(names)), names)
    axes.invert_yaxis()
    axes.xaxis.set_major_formatter(lambda value, _: f"{value:g}")
    axes.set_xlabel(
        "ours as a multiple of the peer (dotted: the peer; |: the goal, missed where orange; line: all pairs)"
    )
    for side in ("top", "right"):
        axes.spines[side].set_visible(False)
    drawing.tight_layout()
    drawing.savefig(os.path.join(DOCUMENTS, "performance.svg"), transparent=True, metadata={"Date": None})


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        rows = json.load(file)
    write_table(rows)
    write_chart(rows)


if __name__ == "__main__":
    main()
