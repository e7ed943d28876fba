"""What docs/performance.md shows: the figures in their order, and the bars that they must pass.

A figure sets one measured thing beside another of the same round. Without a bar it is published only.
"""

import dataclasses
from typing import Optional


@dataclasses.dataclass(frozen=True)
class Metric:
    program: str
    what: str
    case: str
    # The time of one frame or record instead of all of them; on Google Benchmark only.
    per_item: bool = False


@dataclasses.dataclass(frozen=True)
class AtMost:
    """The figure is how many times the second costs the first takes."""

    limit: float


@dataclasses.dataclass(frozen=True)
class AtLeast:
    """The figure is how many times faster than the second the first is."""

    limit: float


@dataclasses.dataclass(frozen=True)
class Within:
    """The first itself takes at most so much, in its own unit."""

    limit: float


@dataclasses.dataclass(frozen=True)
class AboveAtMost:
    """The first takes at most so much more than the second, in their own unit."""

    limit: float


@dataclasses.dataclass(frozen=True)
class Figure:
    title: str
    value: Metric
    against: Optional[Metric]
    bar: object = None
    # Published figures: whether the ratio tells the speed instead of the cost.
    is_speed: bool = False


@dataclasses.dataclass(frozen=True)
class Chapter:
    title: str
    text: str
    figures: tuple
    plot: str = ""


MS = 1e6  # in ns

CHUNKS = ("64 KiB", "1 MiB", "4 MiB", "16 MiB")
SIZES = ("16 B", "256 B", "4 KiB", "64 KiB", "one of 16 MiB")
QT_PEERS = ("Qt Remote Objects", "QtDBus")
RECORDS = (10, 1000, 100000)
PENDING = (1, 100, 10000)
TRANSFER_CHUNKS = ("4 KiB", "64 KiB", "256 KiB", "1 MiB")
PAYLOADS = ("16 B", "256 B", "4 KiB", "64 KiB")


def frames(what, case, per_item=False):
    return Metric("bench_frames", what, case, per_item)


def cutting():
    one = "cut one chunk"
    yield Figure("16 MiB, against 1 MiB", frames(one, "16 MiB"), frames(one, "1 MiB"), AtMost(20))
    yield Figure("1 MiB, against moving the rest", frames(one, "1 MiB"), frames("moving copy", "1 MiB"),
                 AtLeast(30))
    for chunk in CHUNKS:
        yield Figure(f"a frame of {chunk}, itself", frames(one, chunk, True),
                     frames("pass over headers", chunk, True), Within(60))
    yield Figure("a frame of 1 MiB, against the signal alone", frames(one, "1 MiB", True),
                 frames("signal alone", "1 MiB", True))
    for piece, bar in (("1 B", None), ("7 B", None), ("1460 B", AtMost(1)), ("200000 B", AtMost(1))):
        yield Figure(f"1 MiB in pieces of {piece}, against one chunk", frames("cut pieces", piece),
                     frames(one, "1 MiB"), bar)
    yield Figure("1 MiB in pieces of 1 B, itself", frames("cut pieces", "1 B"), None,
                 Within(25 * 1024 * 1024))


def received(what, size):
    return Metric("bench_receive", what, size)


def receiving():
    client = "socket client"
    limits = {"256 B": 0.40, "4 KiB": 0.80, "64 KiB": 0.80, "one of 16 MiB": 0.55}
    for size in SIZES:
        bar = AtLeast(limits[size]) if size in limits else None
        yield Figure(f"{size}, against the bare socket", received(client, size),
                     received("bare socket", size), bar, is_speed=True)
    yield Figure("16 B, itself", received(client, "16 B"), None, Within(60))
    for size in SIZES:
        yield Figure(f"{size}, against QDataStream", received(client, size), received("QDataStream", size),
                     AtLeast(2.5) if size == "16 B" else None, is_speed=True)
    for peer in QT_PEERS:
        for size in SIZES:
            yield Figure(f"{size}, against {peer}", received(client, size), received(peer, size), AtLeast(1))
    for size in SIZES:
        yield Figure(f"{size}, against ZeroMQ", received(client, size), received("ZeroMQ", size),
                     is_speed=True)


def queueing():
    for kind in ("text", "bytes"):
        for size in SIZES:
            yield Figure(f"{size}, {kind}, against the payload alone", received(f"proxy, {kind}", size),
                         received("socket client", size))


def table(what, count, order, per_item=False):
    return Metric("bench_table", what, f"{count} records {order}", per_item)


def tables():
    parse, floor, split = "parse and install", "insert ready records", "split into lists"
    for count in RECORDS:
        yield Figure(f"{count:,} sorted, against the map alone", table(parse, count, "sorted"),
                     table(floor, count, "sorted"), AtMost(1.4))
    for count in RECORDS:
        yield Figure(f"{count:,} sorted, against splitting", table(parse, count, "sorted"),
                     table(split, count, "sorted"), AtLeast(3.5) if count == RECORDS[-1] else None,
                     is_speed=True)
    for count in RECORDS:
        yield Figure(f"{count:,} shuffled, against the map alone", table(parse, count, "shuffled"),
                     table(floor, count, "shuffled"), AtMost(0.6) if count == RECORDS[-1] else None)
    for count in RECORDS:
        yield Figure(f"{count:,} shuffled, against splitting", table(parse, count, "shuffled"),
                     table(split, count, "shuffled"), is_speed=True)
    for order in ("sorted", "shuffled"):
        yield Figure(f"a record of 100,000, against one of 1,000, {order}", table(parse, 100000, order, True),
                     table(parse, 1000, order, True), AtMost(3))


def packages():
    for what, against in (("encode a request", "Base64 encoding"), ("parse a reply", "Base64 decoding")):
        for payload in PAYLOADS:
            yield Figure(f"{what}, {payload}, against its {against}", Metric("bench_packages", what, payload),
                         Metric("bench_packages", against, payload),
                         AtMost(3) if payload == "4 KiB" else None)


def matching():
    for order in ("oldest", "newest"):
        for count in PENDING:
            case = f"{count} pending {order} first"
            yield Figure(f"{count:,} pending, {order} first, itself", Metric("bench_matching", "match", case),
                         Metric("bench_matching", "hash lookup", case),
                         Within(100) if order == "oldest" else None)


def road():
    bound = "bound of the tickers"
    queued = "100 queued together"
    for against, bars in ((bound, (AtMost(1.1), AboveAtMost(1.5 * MS))), ("bound of ideal tickers", (None, None))):
        for case, bar in zip(("median", "99th percentile"), bars):
            yield Figure(f"one at a time, {case}, against the {against}",
                         Metric("bench_road", "one at a time", case), Metric("bench_road", against, case), bar)
    yield Figure("100 queued together, itself", Metric("bench_road", "queued together", queued),
                 Metric("bench_road", bound, queued), Within(1040 * MS))


def idling():
    for case in ("processor time in a second", "wake-ups in a second"):
        yield Figure(case, Metric("bench_idle", "idle proxy", case), Metric("bench_idle", "two tickers", case),
                     AtMost(1.1))


def memory():
    cases = [f"queued message of {size} characters" for size in (0, 16, 256, 4096)]
    cases += [f"queued reply of {size} bytes, {kind}" for size in (16, 256, 4096) for kind in ("text", "bytes")]
    cases += ["pending request", "table record", "initialised proxy"]
    without_payload = ("queued message of 0 characters", "pending request", "initialised proxy")
    for case in cases:
        against = None if case in without_payload else Metric("bench_memory", "payload", case)
        yield Figure(case, Metric("bench_memory", "weight", case), against)
    for part in ("a QObject", "a queue entry without texts", "an identifying text of 38 characters",
                 "a read request", "an equipment record in its map", "a socket client",
                 "a proxy that is not initialised"):
        yield Figure(f"part: {part}", Metric("bench_memory", "part", part), None)


def transfers():
    for direction in ("read", "write"):
        for window in (8, 1):
            for chunk in TRANSFER_CHUNKS:
                case = f"{chunk}, window {window}"
                if direction == "write" and window == 1:
                    continue
                bar = AtLeast(0.9) if window == 8 else None
                yield Figure(f"{direction}, chunk {case}", Metric("bench_transfer", direction, case),
                             Metric("bench_transfer", "one message in 10 ms", case), bar, is_speed=True)


CHAPTERS = (
    Chapter("Cutting frames", """
Frames with bodies of 16 bytes are cut out of what arrived, and each payload is handed to a slot that looks
at it, by the signal that the socket client has. *Moving the rest* cuts the same frames and removes each from
the buffer's front. *The signal alone* hands on payloads that are ready. One pass over the lengths alone,
which nothing can do without, stands beside the time of a frame.""", tuple(cutting())),
    Chapter("Receiving", """
Another process writes frames to the local socket, 64 KiB at a time; here are the times until each body has
reached a slot, whose ratio is a ratio of speeds. The *bare socket*, a `QLocalSocket` that is read into one
fixed buffer, cuts nothing and is the limit. `QDataStream` reads the same frames in transactions. Qt Remote
Objects and QtDBus (peer to peer, without a bus) carry the bodies in a signal, and their writers are their
own, as is that of ZeroMQ (a pair of sockets over ipc), which waits in a call instead of an event loop and
does not make a `QByteArray`.""", tuple(receiving()), "receiving"),
    Chapter("Into the notify queue", """
The same bodies as replies through the proxy: each is split into identifier and contents, dispatched, put
into the notify queue as text or as bytes, taken out again and released. An entry of the queue is an object
with an identifying text of its own, a new random one, which is what most of the time of a small body goes
into. A text costs
one conversion of the payload, bytes one copy without the identifier; nothing else copies it.""",
            tuple(queueing())),
    Chapter("The equipment table", """
The table's text in, the installed map out; the old map is released meanwhile. *The map alone* inserts records
whose values are ready: two strings copied and one insertion each, at the end where the records are sorted.
*Splitting* takes the text apart with `split` and fills the map with `operator[]`.""", tuple(tables()), "table"),
    Chapter("Requests and replies as text", """
A write request into the body of its frame, and a read reply's text into a package. The data travels in
Base64, whose bare encoding or decoding stands beside.""", tuple(packages())),
    Chapter("Matching", """
Finding, taking out and adding anew one request among those that are pending. The search goes from the newest
to the oldest, so that of two requests with one number the newer is found. A look into a hash table of the
same requests stands beside.""", tuple(matching()), "matching"),
    Chapter("A request's road", """
A read request from the call to its completion handler, with the simulated server as the other process. Two
tickers that beat every 10 ms decide how long that takes: the first sends, the second completes. Their bound
is taken for the very same requests: from the call to the next beat of the first and from there to the next
of the second. Ideal tickers beat every 10 ms exactly. The requests come at any time, with the tickers any
time apart.""", tuple(road())),
    Chapter("An idle proxy", """
A registered proxy to whom nothing happens, and two tickers whose beats reach two empty slots. Processor
time and voluntary context switches of the whole process.""", tuple(idling())),
    Chapter("Memory", """
Bytes on the heap, the allocator's own included, beside the payload that they carry. Every entry of a queue
is a `QObject` with an identifying text; its own text takes two bytes for each character. A command is
queued as text and as bytes, and the bytes have room for three for each character. A request's entry has no
bytes. A proxy has a socket client and two workers, whose stacks are not on the heap; what the allocator
still has from the one before makes its weight vary.""", tuple(memory())),
    Chapter("Transfers", """
How fast a `DeviceTransfer` moves data to and from the simulated server, once it has got going: the time for
each chunk, beside the pace of one message in 10 ms. The ratio is that of the speeds.""",
            tuple(transfers()), "transfers"),
)
