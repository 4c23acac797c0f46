"""Runs the measuring programs, alone or under callgrind, which counts what happens in nas_bench_measured."""

import json
import os
import re
import subprocess
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

COST_LINE = re.compile(r"^(?:[+*-]?\w*)\s+(\d+)$")


class Programs:
    def __init__(self, build, results):
        self.build = Path(build)
        self.results = Path(results)

    def _run(self, command):
        # The program's own linking is no cost of the library: it is done before anything is counted.
        done = subprocess.run(command, capture_output=True, text=True, env=os.environ | {"LD_BIND_NOW": "1"})
        if done.returncode != 0:
            raise SystemExit(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}status {done.returncode}")
        return json.loads(done.stdout)

    def run(self, name, *arguments):
        """What a program prints; it is kept beside the results."""
        answer = self._run([self.build / "bench" / name, *arguments])
        path = self.results / ("-".join([name, *arguments]) + ".json")
        path.write_text(json.dumps(answer, indent=2) + "\n", encoding="utf-8")
        return answer

    def count_instructions(self, name, *arguments):
        """The instructions of the measured section; the profile stays in the results' folder for callgrind_annotate."""
        title = "-".join([name, *arguments])
        for old in self.results.glob(f"{title}.callgrind*"):
            old.unlink()
        self._run(["valgrind", "--tool=callgrind", "--quiet", "--toggle-collect=nas_bench_measured",
                   f"--callgrind-out-file={self.results}/{title}.callgrind.%p",
                   self.build / "bench" / name, *arguments])
        # The sandbox takes several processes, one of which measures.
        profiles = list(self.results.glob(f"{title}.callgrind.*"))
        profiles.sort(key=total)
        if not profiles or total(profiles[-1]) == 0 or any(total(profile) for profile in profiles[:-1]):
            raise SystemExit(f"{title}: callgrind did not count in exactly one process")
        for profile in profiles[:-1]:
            profile.unlink()
        return profiles[-1].rename(self.results / f"{title}.callgrind")

    def count_all(self, runs):
        """The profiles of several runs, as many at a time as there are processors."""
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            return dict(zip(runs, pool.map(lambda run: self.count_instructions(*run), runs)))


def total(profile):
    totals = re.search(r"^totals: (\d+)$", profile.read_text(), re.MULTILINE)
    return int(totals.group(1)) if totals else 0


def calls_between(profile, caller, callee):
    """What the calls of one object (a file's name) into another cost, all in all."""
    names, objects, cost = {}, {"ob": "", "cob": None}, 0
    lines = iter(profile.read_text().splitlines())
    for line in lines:
        key, _, value = line.partition("=")
        if key in ("ob", "cob"):
            number, _, name = value.partition(" ")
            objects[key] = os.path.basename(names.setdefault(number, name))
        elif key == "calls":
            inclusive = COST_LINE.match(next(lines))
            if objects["ob"].startswith(caller) and objects["cob"] == callee:
                cost += int(inclusive.group(1))
            objects["cob"] = None  # named at each call that leaves the object
    return cost
