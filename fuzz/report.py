#!/usr/bin/env python3
"""Prints, from results.json, what fuzzing has shown: a section of docs/reliability.md."""

import results
from targets import ALL

HEADER = """\
## Fuzzing

What the library and the simulated server make of bytes that nobody sane would send: `./dev fuzz`, under the
address and the undefined-behaviour sanitizer. The corpora are part of every test run;
[architecture.md](architecture.md#the-fuzz-targets) tells what each target compares with what.

| target | executions | wanted | a second | findings | corpus | lines reached |
|---|---|---|---|---|---|---|"""


def _row(target, result):
    executions = sum(campaign["executions"] for campaign in result["campaigns"])
    seconds = sum(campaign["seconds"] for campaign in result["campaigns"])
    findings = sum(campaign["findings"] for campaign in result["campaigns"])
    speed = f"{executions / seconds:,.0f}" if seconds else ""
    coverage = result.get("coverage", {"inputs": 0, "files": {}})
    covered = sum(count for count, _ in coverage["files"].values())
    total = sum(count for _, count in coverage["files"].values())
    lines = f"{covered} of {total} ({100 * covered / total:.1f} %)" if total else ""
    corpus = f"{coverage['inputs']} inputs" if total else ""
    return (f"| `{target.name}`: {target.about} | {executions:,} | {target.wanted:,} | {speed} | {findings} "
            f"| {corpus} | {lines} |")


def section():
    """The section of a document, with its title."""
    figures = results.load()
    rows = [_row(target, figures[target.name]) for target in ALL.values() if target.name in figures]
    dates = sorted({campaign["date"] for result in figures.values()
                    for campaign in result["campaigns"]})
    if not dates:
        return ""
    period = dates[0] if len(dates) == 1 else f"{dates[0]} to {dates[-1]}"
    return "\n".join([HEADER, *rows, "", f"Executed {period}; each day and commit stands in "
                      "`fuzz/results.json`.", ""])


if __name__ == "__main__":
    print(section(), end="")
