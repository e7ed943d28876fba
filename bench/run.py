#!/usr/bin/python3
"""Runs benchmarks and keeps what they measured.

usage: bench/run.py FOLDER [--quick] [NAME...]

FOLDER holds the programs, bench_<name> each; all of them are run when none is named. What a program
measured goes to bench/results/<name>.json, with the command, the date, the commit and the machine.
With --quick fewer and shorter rounds are taken, nothing is kept, and the bars are printed.
"""

import datetime
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import facts
import report

PREFIX = "bench_"
PEER_PREFIX = "bench_peer_"
ON_GOOGLE_BENCHMARK = ("frames", "matching", "packages", "table")
# What stands in each of its entries and tells something.
ENTRY_FIELDS = ("name", "repetition_index", "iterations", "real_time", "cpu_time", "time_unit",
                "items_per_second")
PEERS = {"bench_peer_remoteobjects": "Qt Remote Objects", "bench_peer_dbus": "QtDBus",
         "bench_peer_zeromq": "ZeroMQ"}


def say(text):
    print(f"run.py: {text}", file=sys.stderr, flush=True)


def arguments_for(name, is_quick):
    if name not in ON_GOOGLE_BENCHMARK:
        return ["--quick"] if is_quick else []
    repetitions, seconds = (3, 0.01) if is_quick else (9, 0.05)
    return ["--benchmark_enable_random_interleaving=true", f"--benchmark_repetitions={repetitions}",
            f"--benchmark_min_time={seconds}", "--benchmark_format=json"]


def entries_of(output):
    """The repetitions, without names of hosts and folders."""
    entries = [entry for entry in output["benchmarks"] if entry["run_type"] == "iteration"]
    for entry in entries:
        if entry.get("error_occurred"):
            raise ValueError(f"{entry['name']}: {entry['error_message']}")
    return [{field: entry[field] for field in ENTRY_FIELDS if field in entry} for entry in entries]


def measure(folder, name, is_quick):
    load = os.getloadavg()[0]
    ended = subprocess.run([folder / (PREFIX + name), *arguments_for(name, is_quick)],
                           stdout=subprocess.PIPE, text=True)
    if ended.returncode != 0:
        raise ValueError(f"{PREFIX}{name} ended with {ended.returncode}")
    output = json.loads(ended.stdout)
    result = {
        "program": PREFIX + name,
        "command": f"./dev bench {name}",
        "date": datetime.date.today().isoformat(),
        "commit": facts.commit(),
        "machine": facts.machine(),
        "qt": facts.qt_version(),
        "load before": round(load, 2),
    }
    kind = "benchmarks" if name in ON_GOOGLE_BENCHMARK else "measurements"
    result[kind] = entries_of(output) if kind == "benchmarks" else output[kind]
    return result


def written(result):
    """JSON with one line for each field and each entry, so that two runs can be compared."""
    lines = []
    for field, value in result.items():
        if isinstance(value, list):
            entries = ",\n  ".join(json.dumps(entry) for entry in value)
            lines.append(f'"{field}": [\n  {entries}\n ]')
        else:
            lines.append(f'"{field}": {json.dumps(value)}')
    return "{\n " + ",\n ".join(lines) + "\n}\n"


def run(folder, names, is_quick, results):
    for program, peer in PEERS.items():
        if "receive" in names and not (folder / program).exists():
            say(f"{peer} is not installed and does not take part")
    is_good = True
    for name in names:
        say(f"bench_{name}")
        try:
            (results / f"{name}.json").write_text(written(measure(folder, name, is_quick)))
        except ValueError as error:
            say(error)
            is_good = False
    return is_good


def main():
    words = sys.argv[1:]
    is_quick = "--quick" in words
    words = [word for word in words if word != "--quick"]
    if not words or words[0].startswith("-"):
        sys.exit(__doc__)
    folder = pathlib.Path(words[0]).resolve()
    there = sorted(path.name[len(PREFIX):] for path in folder.glob(PREFIX + "*")
                   if not path.name.startswith(PEER_PREFIX))
    unknown = [name for name in words[1:] if name not in there]
    if unknown:
        sys.exit(f"run.py: there is no benchmark {unknown[0]}, but {', '.join(there)}")
    names = words[1:] or there
    if is_quick:
        with tempfile.TemporaryDirectory() as results:
            is_good = run(folder, names, True, pathlib.Path(results))
            report.print_bars(pathlib.Path(results))
    else:
        report.RESULTS.mkdir(exist_ok=True)
        is_good = run(folder, names, False, report.RESULTS)
        report.write_document()
    sys.exit(0 if is_good else 1)


if __name__ == "__main__":
    main()
