"""The plots of docs/reliability.md. The same samples give the same files."""

import csv
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "bench"))

from plots import plt, save  # noqa: E402


def plot_memory(source, path):
    """What a process holds over time: memory above, descriptors and losses of its server below."""
    with open(source, newline="") as file:
        rows = [{name: float(value) for name, value in row.items()} for row in csv.DictReader(file)]
    minutes = [row["seconds"] / 60 for row in rows]
    figure, (memory, counts) = plt.subplots(2, 1, figsize=(7, 5), sharex=True)
    memory.plot(minutes, [row["resident_bytes"] / 1e6 for row in rows], label="resident")
    memory.plot(minutes, [row["heap_bytes"] / 1e6 for row in rows], label="heap in use")
    memory.set_ylabel("MB")
    memory.set_ylim(bottom=0)
    memory.legend()
    counts.plot(minutes, [row["descriptors"] for row in rows], label="descriptors")
    counts.plot(minutes, [row["losses"] for row in rows], label="losses of the server so far")
    counts.set_ylim(bottom=0)
    counts.set_xlabel("minutes")
    counts.legend()
    save(figure, path)
