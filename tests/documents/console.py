#!/usr/bin/python3
"""Carries out a session that a document shows and compares what it prints.

Numbers, times and bytes in hexadecimal differ from run to run: each counts as equal to any other, and of equal
lines only the first counts.

usage: console.py FILE    FILE holds one session: "$ command" lines, each with its output
"""

import re
import subprocess
import sys

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


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    session = commands_of(open(sys.argv[1]).read())
    if not session:
        sys.exit(f"console.py: {sys.argv[1]} holds no command")
    for command, expected in session:
        ended = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                               timeout=60)
        printed = ended.stdout.splitlines()
        # A command that is shown without output may print what it likes, but must succeed.
        if comparable(expected) != comparable(printed) if expected else ended.returncode != 0:
            sys.exit(f"console.py: $ {command}\nshown:\n" + "\n".join(expected) + "\nprinted:\n" + ended.stdout)


if __name__ == "__main__":
    main()
