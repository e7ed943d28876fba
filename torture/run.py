#!/usr/bin/env python3
"""Runs programs of the torture chamber in their long form and keeps their figures.

usage: torture/run.py FOLDER [NAME...]

FOLDER holds the programs, torture_<name> each; all of them are run when none is named. The line that
each prints goes to torture/results/<name>.json with the command, the date, the commit and the machine;
one that fails keeps its figures too, and the exit code is then 1.
"""

import datetime
import json
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "bench"))

from facts import commit, machine  # noqa: E402

PREFIX = "torture_"
# Programs that also sample over time, into torture/results/<name>.csv.
CURVES = ("soak",)


def figures_of(line):
    """The figures of "name figure=value figure=value ..."."""
    return dict(word.split("=", 1) for word in line.split()[1:])


def run(folder, name):
    program = folder / (PREFIX + name)
    arguments = ["--long"]
    if name in CURVES:
        arguments += ["--curve", str(HERE / "results" / f"{name}.csv")]
    ended = subprocess.run([str(program), *arguments], stdout=subprocess.PIPE, text=True)
    lines = [line for line in ended.stdout.splitlines() if line.startswith(f"{name} ")]
    if not lines:
        print(f"run.py: {program.name} printed no figures and ended with {ended.returncode}", file=sys.stderr)
        return False
    print(lines[-1], flush=True)
    result = {
        "command": f"./dev torture {name}",
        "date": datetime.date.today().isoformat(),
        "commit": commit(),
        "machine": machine(),
        "exit": ended.returncode,
        "figures": figures_of(lines[-1]),
    }
    (HERE / "results" / f"{name}.json").write_text(json.dumps(result, indent=2) + "\n")
    return ended.returncode == 0


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    names = sys.argv[2:] or sorted(path.name[len(PREFIX):] for path in folder.glob(PREFIX + "*"))
    for name in names:
        if not (folder / (PREFIX + name)).exists():
            sys.exit(f"run.py: there is no program {PREFIX}{name} in {folder}")
    (HERE / "results").mkdir(exist_ok=True)
    good = [run(folder, name) for name in names]
    sys.exit(0 if all(good) else 1)


if __name__ == "__main__":
    main()
