#!/usr/bin/env python3
"""Runs all tests again and again in random order, without retries, and counts what fails.

What every call finds is kept in torture/results/flakes.json and added up there: fifty rounds take longer than
anyone waits. The output of a round that fails stays in BUILD/flakes.
"""

import argparse
import datetime
import json
import pathlib
import statistics
import subprocess
import sys
import time
import xml.etree.ElementTree

from run import commit, machine

RESULT = pathlib.Path(__file__).resolve().parent / "results" / "flakes.json"


def arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build folder")
    parser.add_argument("--rounds", type=int, default=1, help="how often all tests are run (1)")
    parser.add_argument("--jobs", type=int, default=8, help="how many tests run at a time (8)")
    parser.add_argument("--exclude", default="", help="leave out the tests whose names match")
    parser.add_argument("--anew", action="store_true", help="forget what former calls found")
    read = parser.parse_args()
    if read.rounds < 1 or read.jobs < 1:
        parser.error("--rounds and --jobs take a number from 1 on")
    return read


def run_round(options, number):
    """The names of the tests, of those that failed, and the seconds that the round took."""
    folder = options.build / "flakes"
    folder.mkdir(exist_ok=True)
    report = folder / "round.xml"
    report.unlink(missing_ok=True)
    command = ["ctest", "--test-dir", str(options.build), "-j", str(options.jobs), "--schedule-random",
               "--output-on-failure", "--no-tests=error", "--output-junit", str(report.resolve())]
    if options.exclude:
        command += ["-E", options.exclude]
    start = time.monotonic()
    ended = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    seconds = time.monotonic() - start
    if not report.exists():
        sys.exit(f"flakes.py: ctest reported nothing:\n{ended.stdout.decode(errors='replace')}")
    cases = xml.etree.ElementTree.parse(report).getroot().findall("testcase")
    failed = [case.get("name") for case in cases if case.get("status") == "fail"]
    if failed:
        stamp = datetime.datetime.now().strftime("%Y%m%d-%H%M%S")
        (folder / f"{stamp}.log").write_bytes(ended.stdout)
    print(f"flakes: round {number}: {len(cases)} tests, {round(seconds)} s"
          + (f", failed: {' '.join(failed)}" if failed else ""), file=sys.stderr, flush=True)
    return len(cases), failed, seconds


def figures_of(calls):
    rounds = [each for call in calls for each in call["rounds"]]
    seconds = [each["seconds"] for each in rounds]
    failures = {}
    for each in rounds:
        for name in each["failed"]:
            failures[name] = failures.get(name, 0) + 1
    since = next((i for i, each in enumerate(reversed(rounds)) if each["failed"]), len(rounds))
    by_test = ",".join(f"{name}:{count}" for name, count in sorted(failures.items()))
    return {
        "rounds": str(len(rounds)),
        "tests_a_round": str(max(each["tests"] for each in rounds)),
        "test_runs": str(sum(each["tests"] for each in rounds)),
        "rounds_with_failures": str(sum(1 for each in rounds if each["failed"])),
        "failures": str(sum(failures.values())),
        "failures_by_test": by_test or "none",
        "rounds_since_failure": str(since),
        "commits": str(len({call["commit"] for call in calls})),
        "median_s": f"{statistics.median(seconds):.0f}",
        "longest_s": f"{max(seconds):.0f}",
    }


def keep(calls):
    figures = figures_of(calls)
    result = {
        "command": "./dev torture flakes",
        "date": calls[-1]["date"],
        "commit": calls[-1]["commit"],
        "machine": machine(),
        "exit": 0 if figures["failures"] == "0" else 1,
        "figures": figures,
        "calls": calls,
    }
    RESULT.parent.mkdir(exist_ok=True)
    RESULT.write_text(json.dumps(result, indent=2) + "\n")
    return figures


def main():
    options = arguments()
    calls = []
    if RESULT.exists() and not options.anew:
        calls = json.loads(RESULT.read_text())["calls"]
    calls.append({"date": datetime.date.today().isoformat(), "commit": commit(), "jobs": options.jobs,
                  "rounds": []})
    for number in range(1, options.rounds + 1):
        tests, failed, seconds = run_round(options, number)
        calls[-1]["rounds"].append({"tests": tests, "failed": failed, "seconds": round(seconds, 1)})
        figures = keep(calls)  # after each: the next may be interrupted
    print("flakes " + " ".join(f"{name}={value}" for name, value in figures.items()))
    sys.exit(1 if any(each["failed"] for each in calls[-1]["rounds"]) else 0)


if __name__ == "__main__":
    main()
