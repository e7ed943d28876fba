#!/usr/bin/env python3
"""Runs the fuzzers. `./dev fuzz` builds them and calls this; it passes its arguments on."""

import argparse
import os
import re
import subprocess
import sys
import time

import results
from targets import ALL, BUILD, ROOT, chosen

SECONDS_PER_INPUT = 20
MEGABYTES = 2048


def environment(target):
    # The quarantine is what most of the time would be spent on.
    return {**os.environ,
            "ASAN_OPTIONS": "quarantine_size_mb=16",
            "LSAN_OPTIONS": f"suppressions={ROOT / target.suppressions}:print_suppressions=0"}


def program(target):
    return str(BUILD / "fuzz" / "bin" / target.program)


def scratch_folder(target, kind):
    folder = BUILD / kind / target.name
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def run_process(target, runs):
    """One process of at most that many executions: how many there were, and whether it is well."""
    scratch = scratch_folder(target, "scratch")
    findings = scratch_folder(target, "findings")
    log = findings / "log.txt"
    start = time.monotonic()
    with open(log, "w") as output:
        status = subprocess.run(
            [program(target), f"-dict={target.dictionary}", f"-max_len={target.max_len}",
             f"-runs={runs}", f"-rss_limit_mb={MEGABYTES}", f"-timeout={SECONDS_PER_INPUT}",
             "-print_final_stats=1", "-close_fd_mask=3", "-reload=0",
             "-entropic=0",  # a third of the time where there is much code
             f"-artifact_prefix={findings}/", str(scratch), str(target.corpus)],
            env=environment(target), stdout=output, stderr=output, check=False).returncode
    found = re.findall(r"number_of_executed_units: (\d+)", log.read_text(errors="replace"))
    executions = int(found[-1]) if found else 0
    results.add_campaign(target.name, executions, time.monotonic() - start, int(status != 0))
    if status != 0:
        print(f"{target.name}: a finding, see {log}", file=sys.stderr)
    return executions, status == 0


def fuzz(target, runs):
    start = time.monotonic()
    done = 0
    while done < runs:
        executions, is_well = run_process(target, min(runs - done, target.runs_per_process))
        done += executions
        if not is_well:
            return False
        if executions == 0:
            sys.exit(f"{target.name}: nothing was executed, see {BUILD / 'findings' / target.name}")
    seconds = time.monotonic() - start
    print(f"{target.name}: {done} executions in {seconds:.0f} s, {done / seconds:.0f} a second",
          flush=True)
    return True


def keep(target):
    """Adds to the corpus in the tree what reaches code that no input there reaches."""
    subprocess.run(
        [program(target), "-merge=1", "-use_counters=0", f"-max_len={target.max_len}",
         "-close_fd_mask=3", str(target.corpus), str(scratch_folder(target, "scratch"))],
        env=environment(target), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    print(f"{target.name}: {len(list(target.corpus.iterdir()))} inputs in {target.corpus}")


def main():
    parser = argparse.ArgumentParser(prog="./dev fuzz", description=__doc__)
    parser.add_argument("targets", nargs="*", metavar="TARGET",
                        help=f"one of {', '.join(ALL)}; all when none is named")
    parser.add_argument("--runs", type=int, default=100_000, metavar="N",
                        help="executions of each target, %(default)s unless given")
    parser.add_argument("--keep", action="store_true",
                        help="afterwards add to the corpus what reaches new code")
    arguments = parser.parse_args()
    is_well = True
    for target in chosen(parser, arguments.targets):
        is_well = fuzz(target, arguments.runs) and is_well
        if arguments.keep:
            keep(target)
    sys.exit(0 if is_well else 1)


if __name__ == "__main__":
    main()
