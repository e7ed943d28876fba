#!/usr/bin/env python3
"""Runs the threaded tests under the thread sanitizer, after two controls of the sanitizer itself.

The first control races and must be reported, the second queues calls correctly and must not: without
them silence would mean nothing. Prints one line of figures as the other programs do; the arguments that
those take are ignored.
"""

import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
REPORT = re.compile("^SUMMARY: ThreadSanitizer", re.MULTILINE)
SUPPRESSIONS = ROOT / "torture" / "tsan" / "tsan.supp"
ATTEMPTS = 20


def run(*command):
    environment = dict(os.environ, TSAN_OPTIONS=f"suppressions={SUPPRESSIONS}")
    ended = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                           text=True, errors="replace")
    return ended.returncode, ended.stdout


def reports_of_control(form):
    control = str(ROOT / "torture" / "tsan" / "ksproxytsancontrol")
    return sum(len(REPORT.findall(run(control, form)[1])) > 0 for _ in range(ATTEMPTS))


def main():
    started = time.monotonic()
    problems = []
    raced = reports_of_control("race")
    queued = reports_of_control("queued")
    if raced == 0:
        problems.append("the control that races was not reported: the sanitizer sees nothing")
    if queued > 0:
        problems.append("correct queued calls were reported: is Qt built for the sanitizer?")
    tests = (ROOT / "torture" / "tsan" / "tests").read_text().split()
    reports = 0
    for test in tests:
        code, output = run(str(ROOT / "tests" / "bin" / test))
        reports += len(REPORT.findall(output))
        if code != 0:
            problems.append(f"{test} ended with {code}")
            (ROOT / "torture" / "tsan" / f"{test}.log").write_text(output)
    for problem in problems:
        print(f"threads: {problem}", file=sys.stderr)
    print(f"threads control_races_reported={raced}/{ATTEMPTS} control_queued_reported={queued}/{ATTEMPTS} "
          f"tests={len(tests)} races={reports} failures={len(problems)} "
          f"seconds={time.monotonic() - started:.4g}")
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    main()
