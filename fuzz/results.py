"""The raw figures in results.json: of each target its campaigns and what its corpus covers."""

import datetime
import fcntl
import json
import subprocess
from contextlib import contextmanager

from targets import BUILD, FOLDER, ROOT

FILE = FOLDER / "results.json"


def load():
    return json.loads(FILE.read_text()) if FILE.exists() else {}


@contextmanager
def _changing(name):
    """Several campaigns may run at once."""
    BUILD.mkdir(parents=True, exist_ok=True)
    with open(BUILD / "results.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        results = load()
        yield results.setdefault(name, {"campaigns": []})
        FILE.write_text(json.dumps(results, indent=2, sort_keys=True) + "\n")


def _stamp():
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.strip()
    return {"date": datetime.date.today().isoformat(), "commit": commit}


def add_campaign(name, executions, seconds, findings):
    """Adds to the campaign of the same day and commit, if there is one."""
    stamp = _stamp()
    with _changing(name) as result:
        for campaign in result["campaigns"]:
            if stamp.items() <= campaign.items():
                break
        else:
            campaign = {**stamp, "executions": 0, "seconds": 0, "findings": 0}
            result["campaigns"].append(campaign)
        campaign["executions"] += executions
        campaign["seconds"] = round(campaign["seconds"] + seconds, 1)
        campaign["findings"] += findings


def set_coverage(name, inputs, files):
    with _changing(name) as result:
        result["coverage"] = {**_stamp(), "inputs": inputs, "files": files}
