"""The samples that bench/results holds, and what a figure of bars.py makes of them."""

import dataclasses
import json
import re
import statistics

from bars import AboveAtMost, AtLeast, AtMost, Within

NS_PER_SECOND = 1e9
NS_PER_UNIT = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class Results:
    """Everything of one folder, by metric."""

    def __init__(self, folder):
        self.runs = [json.loads(path.read_text()) for path in sorted(folder.glob("*.json"))]
        self._samples = {}
        self._units = {}
        for run in self.runs:
            self._read_measurements(run)
            self._read_benchmarks(run)

    def _read_measurements(self, run):
        for one in run.get("measurements", []):
            key = (run["program"], one["what"], one["case"], False)
            self._samples[key] = one["samples"]
            self._units[key] = one["unit"]

    def _read_benchmarks(self, run):
        for entry in sorted(run.get("benchmarks", []), key=lambda entry: entry["repetition_index"]):
            what, case = re.sub("/iterations:.*", "", entry["name"]).split("/")
            key = (run["program"], what, case)
            # Processor time: the machine's other work is not ours.
            self._add(key + (False,), entry["cpu_time"] * NS_PER_UNIT[entry["time_unit"]])
            if "items_per_second" in entry:
                self._add(key + (True,), NS_PER_SECOND / entry["items_per_second"])

    def _add(self, key, nanoseconds):
        self._samples.setdefault(key, []).append(nanoseconds)
        self._units[key] = "ns"

    @staticmethod
    def _key(metric):
        return (metric.program, metric.what, metric.case, metric.per_item)

    def has(self, metric):
        return self._key(metric) in self._samples

    def samples(self, metric):
        return self._samples[self._key(metric)]

    def median(self, metric):
        return statistics.median(self.samples(metric))

    def unit(self, metric):
        return self._units[self._key(metric)]


@dataclasses.dataclass(frozen=True)
class Outcome:
    """A figure with its rounds; margins above 0 pass the bar, as a share of it."""

    figure: object
    rounds: tuple  # the ratios, or what the bar is about
    margins: tuple

    @property
    def value(self):
        return statistics.median(self.rounds)

    @property
    def margin(self):
        return statistics.median(self.margins)

    @property
    def is_met(self):
        return self.margin >= 0


def ratios(figure, results):
    """One for each round; None where nothing stands beside."""
    if figure.against is None:
        return None
    is_speed = figure.is_speed or isinstance(figure.bar, AtLeast)
    pairs = zip(results.samples(figure.value), results.samples(figure.against))
    return tuple(other / own if is_speed else own / other for own, other in pairs)


def rounds_of(figure, results):
    own = results.samples(figure.value)
    if isinstance(figure.bar, AboveAtMost):
        return tuple(a - b for a, b in zip(own, results.samples(figure.against)))
    if isinstance(figure.bar, Within) or figure.against is None:
        return tuple(own)
    return ratios(figure, results)


def margins_of(bar, rounds):
    if bar is None:
        return ()
    if isinstance(bar, AtLeast):
        return tuple(value / bar.limit - 1 for value in rounds)
    return tuple(1 - value / bar.limit for value in rounds)


def outcome(figure, results):
    """None when something that the figure needs was not measured."""
    needed = [figure.value] + ([figure.against] if figure.against else [])
    if not all(results.has(metric) for metric in needed):
        return None
    rounds = rounds_of(figure, results)
    return Outcome(figure, rounds, margins_of(figure.bar, rounds))


def with_unit(value, unit):
    if unit == "ns":
        for size, name in ((1e9, "s"), (1e6, "ms"), (1e3, "µs")):
            if abs(value) >= size:
                return f"{value / size:.3g} {name}" if abs(value) < 1000 * size else f"{value / size:,.0f} {name}"
        return f"{value:.3g} ns"
    number = f"{value:,.0f}" if abs(value) >= 100 else f"{value:.3g}"
    return f"{number} {unit}".strip()


def bar_text(bar, unit):
    if bar is None:
        return ""
    if isinstance(bar, AtMost):
        return f"at most {bar.limit:g}"
    if isinstance(bar, AtLeast):
        return f"at least {bar.limit:g}"
    more = " more" if isinstance(bar, AboveAtMost) else ""
    return f"at most {with_unit(bar.limit, unit)}{more}"


def verdict(result):
    if result.figure.bar is None:
        return ""
    share = abs(result.margin)
    if share >= 9.995:
        much = f"{share + 1:.0f} times"
    else:
        much = f"{share:.0%}" if share >= 0.01 else f"{share:.1%}"
    return f"met by {much}" if result.is_met else f"**missed by {much}**"
