#!/usr/bin/python3
"""Carries out a session that a document shows and compares what it prints.

Numbers, times and bytes in hexadecimal differ from run to run: each counts as equal to any other, and of equal
lines only the first counts. What happens by itself, which is shown with its time, may come in another order, among
other things, and later than on a fast machine: such a command is repeated until all has come.

usage: console.py FILE    FILE holds one session: "$ command" lines, each with its output
"""

import re
import subprocess
import sys
import time

EVENT = re.compile(r"^\d{4}-\d\d-\d\dT")
LONGEST_WAIT = 90  # seconds; the scenario goes round in 60
CHANGING = re.compile(r"\b(?:0x)?[0-9a-f]*\d[0-9a-f]*(?:[.:T-][0-9a-f]+)*\b|(?<= )[0-9a-f]{2}(?= |$)")


def commands_of(text):
    session = []
    for line in text.splitlines():
        if line.startswith("$ "):
            session.append((line[2:], []))
        elif session:
            session[-1][1].append(line)
    return session


def comparable(lines):
    result = []
    for line in lines:
        line = re.sub(r"\|.*\|$", "|#|", line)
        line = re.sub(r"(?:# ?)+", "# ", CHANGING.sub("#", line)).rstrip()
        if line not in result:
            result.append(line)
    return result


def is_as_shown(command, expected):
    """Whether it is, and all that was printed."""
    printed = []
    deadline = time.monotonic() + LONGEST_WAIT
    while True:
        ended = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               timeout=60)
        printed += ended.stdout.splitlines()
        # A command that is shown without output may print what it likes, but must succeed.
        if not expected:
            return ended.returncode == 0, printed
        if not any(EVENT.match(line) for line in expected):
            return comparable(expected) == comparable(printed), printed
        if set(comparable(expected)) <= set(comparable(printed)):
            return True, printed
        if time.monotonic() > deadline:
            return False, printed


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    session = commands_of(open(sys.argv[1]).read())
    if not session:
        sys.exit(f"console.py: {sys.argv[1]} holds no command")
    for command, expected in session:
        is_right, printed = is_as_shown(command, expected)
        if not is_right:
            sys.exit("\n".join([f"console.py: $ {command}", "shown:", *expected, "printed:", *printed]))


if __name__ == "__main__":
    main()
