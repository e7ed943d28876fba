#!/usr/bin/python3
"""Writes docs/performance.md and its plots from what bench/results holds."""

import pathlib

import facts
import plots
from bars import AboveAtMost, CHAPTERS, Within
from series import Results, bar_text, outcome, ratios, verdict, with_unit

RESULTS = facts.ROOT / "bench" / "results"
DOCUMENT = facts.ROOT / "docs" / "performance.md"
PLOTS = facts.ROOT / "docs" / "performance"

BUSY_LOAD = 1.0

INTRODUCTION = """# Performance

What the library costs, beside what else could be done or what cannot be done without. `./dev bench` takes
all figures anew and writes this document from them; `bench/results` has every sample, and `bench/bars.py`
the bars.

Each figure sets two things beside each other that were measured in turns in the same run. It is the median
of all rounds, at least nine, with the smallest and the largest round behind it; *first* and *second* are the
medians of the two things themselves, on this machine. Times of what happens inside one process are processor
time, times over a socket are by the clock. Everything is counted and looked at on arrival: a benchmark that
loses something fails.
"""


def spread(rounds, unit=None):
    shown = [with_unit(value, unit) if unit is not None else f"{value:.3g}" for value in rounds]
    return f"{shown[0]} to {shown[1]}"


def row(result, results):
    figure = result.figure
    unit = results.unit(figure.value)
    first = with_unit(results.median(figure.value), unit)
    second = with_unit(results.median(figure.against), unit) if figure.against else ""
    rounds = result.rounds
    if isinstance(figure.bar, (Within, AboveAtMost)) or figure.against is None:
        value = with_unit(result.value, unit)
        around = spread((min(rounds), max(rounds)), unit)
    else:
        value = f"{result.value:.3g}"
        around = spread((min(rounds), max(rounds)))
    return f"| {figure.title} | {first} | {second} | {value} | {around} | {bar_text(figure.bar, unit)} " \
           f"| {verdict(result)} |"


def chapter_text(chapter, results):
    outcomes = [outcome(figure, results) for figure in chapter.figures]
    rows = [row(result, results) for result in outcomes if result is not None]
    missing = [figure.title for figure, result in zip(chapter.figures, outcomes) if result is None]
    lines = [f"\n## {chapter.title}\n{chapter.text}\n",
             "| | first | second | figure | rounds | bar | |", "|---|---|---|---|---|---|---|", *rows]
    if missing:
        lines.append(f"\nNot measured, because it is not installed or was not run: {'; '.join(missing)}.")
    if chapter.plot:
        lines.append(f"\n![{chapter.title}](performance/{chapter.plot}.svg)")
    return "\n".join(lines) + "\n"


def summary(barred):
    missed = [(chapter, result) for chapter, result in barred if not result.is_met]
    lines = [f"\n## In short\n\n{len(barred) - len(missed)} of {len(barred)} bars are met."]
    if missed:
        lines.append("Missed:\n")
        lines += [f"- {chapter}: {result.figure.title}, {verdict(result).replace('*', '')}"
                  for chapter, result in missed]
    lines.append("\n![All bars](performance/bars.svg)\n")
    return "\n".join(lines)


def circumstances(results):
    lines = ["\n## The runs\n", "| command | date | commit | machine | Qt | load before | rounds |",
             "|---|---|---|---|---|---|---|"]
    for run in results.runs:
        lines.append(f"| `{run['command']}` | {run['date']} | {run['commit']} | {run['machine']} | {run['qt']} "
                     f"| {run['load before']} | {rounds(run)} |")
    return "\n".join(lines) + "\n" + busy(results)


def busy(results):
    """Rounds that lie far apart should not surprise anybody."""
    if all(run["load before"] < BUSY_LOAD for run in results.runs):
        return ""
    return "\nThe machine had other work to do meanwhile, as the load says: rounds that lie far apart come from that.\n"


def rounds(run):
    if "measurements" in run:
        return min(len(one["samples"]) for one in run["measurements"])
    return 1 + max(entry["repetition_index"] for entry in run["benchmarks"])


def outcomes_of(results):
    """Each with the title of its chapter."""
    everything = [(chapter.title, outcome(figure, results)) for chapter in CHAPTERS for figure in chapter.figures]
    return [(title, result) for title, result in everything if result is not None]


def write_document():
    results = Results(RESULTS)
    barred = [(title, result) for title, result in outcomes_of(results) if result.figure.bar is not None]
    PLOTS.mkdir(exist_ok=True)
    plots.write_all(PLOTS, results, barred)
    DOCUMENT.write_text(INTRODUCTION + summary(barred)
                        + "".join(chapter_text(chapter, results) for chapter in CHAPTERS)
                        + circumstances(results))


def print_bars(folder):
    """For trying out: the measured figures on standard output."""
    results = Results(folder)
    for _, result in outcomes_of(results):
        print(row(result, results).strip("| "))


if __name__ == "__main__":
    write_document()
