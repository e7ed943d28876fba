#!/usr/bin/env python3
"""Measures which lines of the code that a target is about its corpus reaches.

`./dev fuzz --coverage` builds the targets under the coverage preset and calls this.
"""

import argparse
import json
import os
import subprocess
import sys

import results
from targets import ROOT, chosen

BUILD = ROOT / "build" / "coverage"


def forget_counts():
    for counts in BUILD.rglob("*.gcda"):
        counts.unlink()


def line_counts(target):
    """Of each source: how many lines were reached, and how many there are."""
    filters = [argument for source in target.sources for argument in ("--filter", source)]
    report = subprocess.run(
        ["gcovr", "--root", ".", "--object-directory", str(BUILD),
         # The tests there are not of this build: gcovr ends when their counts differ in shape.
         "--exclude-directories", str(BUILD / "tests"), "--exclude-throw-branches", *filters, "--json-summary", "-"],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return {entry["filename"]: [entry["line_covered"], entry["line_total"]]
            for entry in json.loads(report)["files"]}


def measure(target):
    forget_counts()
    environment = {**os.environ, "LSAN_OPTIONS": "detect_leaks=0"}
    subprocess.run([str(BUILD / "fuzz" / "bin" / target.program), str(target.corpus)],
                   env=environment, check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)
    files = line_counts(target)
    missing = set(target.sources) - set(files)
    if missing:
        sys.exit(f"{target.name}: nothing is known of {', '.join(sorted(missing))}")
    inputs = len(list(target.corpus.iterdir()))
    results.set_coverage(target.name, inputs, files)
    covered = sum(count for count, _ in files.values())
    total = sum(count for _, count in files.values())
    print(f"{target.name}: {covered} of {total} lines with {inputs} inputs", flush=True)


def main():
    parser = argparse.ArgumentParser(prog="./dev fuzz --coverage", description=__doc__)
    parser.add_argument("targets", nargs="*", metavar="TARGET", help="all when none is named")
    for target in chosen(parser, parser.parse_args().targets):
        measure(target)


if __name__ == "__main__":
    main()
