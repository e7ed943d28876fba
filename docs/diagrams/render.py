#!/usr/bin/python3
"""Renders the diagrams beside this file to SVG, readable on a light and on a dark page.

usage: render.py [--check]    --check only says which picture is not what its source gives
"""

import pathlib
import subprocess
import sys

FOLDER = pathlib.Path(__file__).resolve().parent
# The first is there when the pictures are rendered, so that they come out the same everywhere.
FONT = "DejaVu Sans,Helvetica,sans-serif"
INK = "#24292f"
PAPER = "#f3f6fa"
# A picture brings its own page: the one that it stands on may stay white in the dark.
PAGE = "#ffffff"
DARK = {INK: "#d7dde4", PAPER: "#1d232b", PAGE: "#0d1117"}
LOOK = [
    f"-Gbgcolor={PAGE}", f"-Gcolor={INK}", f"-Gfontcolor={INK}", f"-Gfontname={FONT}", "-Gfontsize=12",
    "-Gstyle=rounded", "-Nshape=box", "-Nstyle=rounded,filled", f"-Nfillcolor={PAPER}", f"-Ncolor={INK}",
    f"-Nfontcolor={INK}", f"-Nfontname={FONT}", "-Nfontsize=12", f"-Ecolor={INK}", f"-Efontcolor={INK}",
    f"-Efontname={FONT}", "-Efontsize=11",
]


def style():
    rules = "".join(f'[{part}="{light}"]{{{part}:{dark}}}'
                    for light, dark in DARK.items() for part in ("stroke", "fill"))
    return f"<style>@media(prefers-color-scheme:dark){{{rules}}}</style>"


def render(source):
    svg = subprocess.run(["dot", "-Tsvg", *LOOK, source], check=True, capture_output=True, text=True).stdout
    start = svg.index(">", svg.index("<svg")) + 1
    return svg[:start] + "\n" + style() + svg[start:]


def main():
    stale = []
    for source in sorted(FOLDER.glob("*.dot")):
        picture = source.with_suffix(".svg")
        svg = render(source)
        if sys.argv[1:] == ["--check"]:
            if not picture.exists() or picture.read_text() != svg:
                stale.append(picture.name)
        else:
            picture.write_text(svg)
    if stale:
        sys.exit(f"render.py: not what the source gives: {' '.join(stale)}; run docs/diagrams/render.py")


if __name__ == "__main__":
    main()
