#!/usr/bin/env python3
"""Writes docs/reliability.md from the figures in torture/results."""

import json
import pathlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
RESULTS = ROOT / "torture" / "results"
DOCUMENT = ROOT / "docs" / "reliability.md"

INTRODUCTION = """# Reliability

What the library survives, as measured. Every row below is a program that anyone can run again with the
command beside it; `./dev torture` runs them all and writes this document. A short form of each is part of
`./dev test`.
"""


def rows(figures):
    return "\n".join(f"| {name.replace('_', ' ')} | {value} |" for name, value in figures.items())


def chapter(path):
    result = json.loads(path.read_text())
    title = path.stem.replace("_", " ").capitalize()
    return f"""
## {title}

`{result['command']}` on {result['date']}, commit {result['commit']}; {result['machine']}.

| figure | value |
|---|---|
{rows(result['figures'])}
"""


def main():
    chapters = [chapter(path) for path in sorted(RESULTS.glob("*.json"))]
    DOCUMENT.write_text(INTRODUCTION + "".join(chapters))


if __name__ == "__main__":
    main()
