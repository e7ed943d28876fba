#!/usr/bin/python3
"""Writes docs/reliability.md and its plots from what torture/results holds."""

import json
import pathlib
import subprocess
import textwrap
from typing import NamedTuple

import curves

ROOT = pathlib.Path(__file__).resolve().parent.parent
RESULTS = ROOT / "torture" / "results"
DOCUMENT = ROOT / "docs" / "reliability.md"
PLOTS = ROOT / "docs" / "reliability"
LINE = 110

INTRODUCTION = """# Reliability

What the library survives, as measured. Every row below is a program that anyone can run again with the
command beside it; `./dev torture` runs them all and writes this document. A short form of each is part of
`./dev test`. A row that did not hold ends its program with failures, and says so here.
"""


class Chapter(NamedTuple):
    title: str
    text: str
    has_curve: bool = False


# By program, in the order of the document. A program that is missing here gets a chapter of its name.
CHAPTERS = {
    "soak": Chapter(
        "An hour of everything",
        "A session sends as much as it can: reads, writes and commands, while broadcasts and table changes come "
        "in; a plain proxy reads beside it, in the same process. Every ten seconds something else befalls the "
        "server, of 24 kinds: each fault that the simulated server knows, a hang of 0.3 and of 4 s, SIGTERM and "
        "SIGKILL. Each request must end once, in time, with data that was written there. The slopes are fitted by "
        "least squares after the first five minutes; what grows is what each connection leaves behind, the "
        "session's and the plain proxy's. The application of the plain proxy makes a new one for each attempt, "
        "ten a second while no server runs.",
        has_curve=True),
    "kill_anywhere": Chapter(
        "Killed after every byte",
        "Fifty requests of a session, and fifty of a plain proxy, once for each byte that goes to the server and "
        "once for each that comes from it: the server is killed by SIGKILL when exactly so many have passed. Each "
        "request of a session must end once: well only if its whole reply had left the server, else with the loss "
        "of the connection. Every fifth session meets a new server and must be ready and served again. A request "
        "of a plain proxy is completed once, with a reply or with a failed write, or it is pending and deleted "
        "with the proxy. What a connection leaves behind is three objects: the socket client that a proxy never "
        "releases, its socket, and that one's own."),
    "restarts": Chapter(
        "A thousand restarts",
        "The server of a session ends and starts again, with requests under way: by SIGTERM; by SIGKILL; hung "
        "(SIGSTOP) until the session has noticed, then killed; hung, then going on. The session must be ready and "
        "served each time, each request must end once, and the descriptors must be as many as before. A server "
        "that hangs must be noticed within one and a half times the limit."),
    "failing_calls": Chapter(
        "Every call that can fail",
        "Small complete pieces of use of the proxy, the session and the process tools: registering at a server "
        "that lives, is dead or absent, reading, writing, commands, tables, broadcasts, transfers, coming back. "
        "Each allocation, and each call for a socket, a connection, bytes, a file, a pipe or a process, fails once "
        "in turn, in a process of its own: without memory, without a descriptor (that one only, or all from there "
        "on), interrupted, refused, broken, or after one byte. The piece must be done all the same or report, in "
        "the way of its kind, what was not; nothing may crash, hang or leak. Left out are allocations inside of "
        "Qt that Qt does not survive; see [behaviour.md](behaviour.md)."),
    "peers": Chapter(
        "Servers that do no good",
        "One that never reads, and one that floods its client for a minute as fast as it is read: with "
        "broadcasts; with tables of fifty records; with notifications; with replies that nobody waits for "
        "(\"strangers\", at 1 MB/s); with a length that nothing can satisfy and then bytes without an end (at "
        "2 MB/s). Meanwhile the client makes twenty reads a second. `hold` is the longest time between two ticks "
        "of a timer of 1 ms, so the longest time that the event loop was not free; it includes what other "
        "processes of the machine took. `kept` is heap that is still in use when the flood is over, for each "
        "message or byte of it. Reads that are unanswered under a flood of strangers were completed with one of "
        "these; see the surprises in [behaviour.md](behaviour.md)."),
    "producers": Chapter(
        "Sixteen producers",
        "16 threads queue requests and commands in turn, as fast as they can, while the application's thread "
        "registers, unregisters, terminates and initialises the proxy again. The proxy sends one message per 10 ms "
        "by itself, which would take a quarter of an hour; so besides its workers the application's thread calls "
        "the two loops, as their ticks would, as fast as it can. Each producer keeps books: what it queued was "
        "refused, or was sent in its order, or was discarded with the queue by Terminate; what was sent was "
        "completed once, or deleted with the pending requests. `./dev torture producers` runs it under the thread "
        "sanitizer, with a Qt that is built for it; a race that it reports ends the program with a failure."),
    "threads": Chapter(
        "Threads under the thread sanitizer",
        "The tests that use several threads, with QtCore, QtNetwork and QtTest built for the sanitizer from "
        "Debian's source package (`torture/tsan/build-qt.sh`). Two controls come first: a program that races must "
        "be reported, and one that queues its calls correctly must not. What is suppressed, and why, stands in "
        "`torture/tsan/tsan.supp`."),
    "wire_vectors": Chapter(
        "Message by message",
        "`torture/wire_vectors.json` is a table of messages, valid and invalid: the bytes that go in, and what must "
        "come of them. The library is run against the vectors for the client, the simulated server against those "
        "for the server. [protocol.md](protocol.md) describes the table's form."),
    "reentrancy": Chapter(
        "Everything from everywhere",
        "Each signal and each completion handler of the proxy and of the session layer is an occasion to do "
        "everything that an application may do there, and to delete what it must not. Each pair of occasion and "
        "deed runs in a process of its own; afterwards the object must still work, or be gone with all that it "
        "owned."),
    "openings": Chapter(
        "A thousand openings",
        "A session that is opened, used once and closed, again and again: the same object, then a new one each "
        "time. Connections, descriptors and heap must not grow."),
    "flakes": Chapter(
        "The whole test suite again and again",
        "All tests in random order, eight at a time on two cores, without retries. The rounds of several calls are "
        "added up. It has found that a transfer whose session had gone between two of its chunks said that the session "
        "was not ready, instead of why: `tst_CtlTransfer` failed once in forty rounds, and "
        "`saysWhyWhenTheSessionGoesBetweenTwoChunks` of `tst_DeviceTransferEnd` shows it each time without the mend."),
}


def rows(figures):
    return "\n".join(f"| {name.replace('_', ' ')} | {value} |" for name, value in figures.items())


def plot(name):
    source = RESULTS / f"{name}.csv"
    if not source.exists():
        return ""
    PLOTS.mkdir(exist_ok=True)
    curves.plot_memory(source, PLOTS / f"{name}.svg")
    return f"\n![Memory and descriptors over time](reliability/{name}.svg)\n"


def verdict(result):
    return "" if result["exit"] == 0 else " **Something did not hold.**"


def chapter(name):
    result = json.loads((RESULTS / f"{name}.json").read_text())
    about = CHAPTERS.get(name, Chapter(name.replace("_", " ").capitalize(), ""))
    text = f"\n{textwrap.fill(about.text, LINE)}\n" if about.text else ""
    return f"""
## {about.title}
{text}{plot(name) if about.has_curve else ""}
`{result['command']}` on {result['date']}, commit {result['commit']}; {result['machine']}.{verdict(result)}

| figure | value |
|---|---|
{rows(result['figures'])}
"""


def names():
    """Those that have results, those with a place of their own first."""
    there = {path.stem for path in RESULTS.glob("*.json")}
    return [name for name in CHAPTERS if name in there] + sorted(there - set(CHAPTERS))


def fuzzing():
    return "\n" + subprocess.run([ROOT / "fuzz" / "report.py"], check=True, capture_output=True, text=True).stdout


def main():
    DOCUMENT.write_text(INTRODUCTION + "".join(chapter(name) for name in names()) + fuzzing())


if __name__ == "__main__":
    main()
