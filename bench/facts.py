"""Under what circumstances figures came about, for whoever reads them later."""

import pathlib
import platform
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
# What a run itself writes.
WRITTEN = (":!bench/results", ":!torture/results", ":!docs")


def machine():
    model = "unknown processor"
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            model = line.split(":", 1)[1].strip()
            break
    cores = subprocess.check_output(["nproc"], text=True).strip()
    return f"{model}, {cores} cores, {platform.system()} {platform.release().split('-')[0]}"


def commit():
    short = subprocess.check_output(["git", "rev-parse", "--short", "HEAD"], text=True, cwd=ROOT).strip()
    changed = subprocess.run(["git", "diff", "--quiet", "HEAD", "--", *WRITTEN], cwd=ROOT)
    return short if changed.returncode == 0 else short + " with changes"


def qt_version():
    return subprocess.check_output(["pkg-config", "--modversion", "Qt5Core"], text=True).strip()
