"""The plots of docs/performance.md. The same results give the same files."""

import statistics

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

import bars  # noqa: E402
from bars import Metric  # noqa: E402

matplotlib.rcParams.update({"svg.hashsalt": "ksproxy", "svg.fonttype": "none", "font.size": 9,
                            "axes.grid": True, "grid.alpha": 0.3})
BODY_BYTES = {"16 B": 16, "256 B": 256, "4 KiB": 4096, "64 KiB": 65536, "one of 16 MiB": 16 * 1024 ** 2}
CHUNK_BYTES = {"4 KiB": 4096, "64 KiB": 65536, "256 KiB": 262144, "1 MiB": 1024 ** 2}


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    plt.close(figure)


def plot_bars(path, outcomes):
    """Each bar's figure as a share of what the bar asks for: to the right of 1 it is met."""
    figure, axes = plt.subplots(figsize=(9, 1 + 0.2 * len(outcomes)))
    for place, (chapter, result) in enumerate(reversed(outcomes)):
        # How many times better than the bar.
        if isinstance(result.figure.bar, bars.AtLeast):
            shares = [1 + margin for margin in result.margins]
        else:
            shares = [1 / max(1 - margin, 1e-3) for margin in result.margins]
        colour = "tab:green" if result.is_met else "tab:red"
        axes.plot([min(shares), max(shares)], [place, place], color=colour, linewidth=1)
        axes.plot(statistics.median(shares), place, "o", color=colour, markersize=4)
    axes.axvline(1, color="black", linewidth=1)
    axes.set_xscale("log")
    axes.set_xlim(left=0.002)
    axes.set_yticks(range(len(outcomes)),
                    [f"{chapter}: {result.figure.title}" for chapter, result in reversed(outcomes)], fontsize=7)
    axes.set_ylim(-1, len(outcomes))
    axes.set_xlabel("times better than the bar, median and all rounds")
    save(figure, path)


def plot_lines(path, lines, xlabel, ylabel):
    """Lines of (name, [(x, samples)]): the median and the rounds."""
    figure, axes = plt.subplots(figsize=(7, 4.2))
    for name, points in lines:
        if not points:
            continue
        xs = [x for x, _ in points]
        axes.plot(xs, [statistics.median(samples) for _, samples in points], "o-", label=name, markersize=3)
        axes.fill_between(xs, [min(samples) for _, samples in points], [max(samples) for _, samples in points],
                          alpha=0.15)
    axes.set_xscale("log")
    axes.set_yscale("log")
    axes.set_xlabel(xlabel)
    axes.set_ylabel(ylabel)
    axes.legend(fontsize=8)
    save(figure, path)


def points(results, metrics, convert):
    return [(x, [convert(x, sample) for sample in results.samples(metric)])
            for x, metric in metrics if results.has(metric)]


def megabytes_a_second(size, nanoseconds):
    return size / nanoseconds * 1e3


def write_all(folder, results, outcomes):
    plot_bars(folder / "bars.svg", outcomes)
    names = ("bare socket", "socket client", "QDataStream", "proxy, text", "proxy, bytes", *bars.QT_PEERS, "ZeroMQ")
    plot_lines(folder / "receiving.svg",
               [(name, points(results, [(size, bars.received(name, case)) for case, size in BODY_BYTES.items()],
                              megabytes_a_second)) for name in names],
               "bytes of a body", "MB/s")
    plot_lines(folder / "table.svg",
               [(f"{what}, {order}", points(results, [(count, bars.table(what, count, order, True))
                                                      for count in bars.RECORDS], lambda _, ns: ns))
                for what in ("parse and install", "insert ready records", "split into lists")
                for order in ("sorted", "shuffled")],
               "records", "ns for each record")
    plot_lines(folder / "matching.svg",
               [(f"{what}, {order} first",
                 points(results, [(count, Metric("bench_matching", what, f"{count} pending {order} first"))
                                  for count in bars.PENDING], lambda _, ns: ns))
                for what in ("match", "hash lookup") for order in ("oldest", "newest")],
               "pending requests", "ns for each match")
    plot_lines(folder / "transfers.svg",
               [(f"{what}, window {window}",
                 points(results, [(size, Metric("bench_transfer", what, f"{chunk}, window {window}"))
                                  for chunk, size in CHUNK_BYTES.items()], megabytes_a_second))
                for what, window in (("read", 8), ("write", 8), ("read", 1), ("one message in 10 ms", 8))],
               "bytes of a chunk", "MB/s")
