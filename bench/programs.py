"""Runs the measuring programs, alone or under callgrind, which counts what happens in nas_bench_measured."""

import json
import os
import re
import subprocess
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

COST_LINE = re.compile(r"^(?:[+*-]?\w*)\s+(\d+)$")


class Programs:
    def __init__(self, build, results):
        self.build = Path(build).resolve()
        self.results = Path(results)

    @staticmethod
    def _run(command, **environment):
        done = subprocess.run(command, capture_output=True, text=True, env=os.environ | environment)
        if done.returncode != 0:
            raise SystemExit(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}status {done.returncode}")
        return json.loads(done.stdout)

    def run(self, name, *arguments):
        """What a program prints; it is kept beside the results."""
        answer = self._run([self.build / "bench" / name, *arguments])
        path = self.results / ("-".join([name, *arguments]) + ".json")
        path.write_text(json.dumps(answer, indent=2) + "\n", encoding="utf-8")
        return answer

    def _profiles(self, title, command, *options, **environment):
        """Runs a program under callgrind; a profile for each of its processes."""
        for old in self.results.glob(f"{title}.callgrind*"):
            old.unlink()
        # The sandbox covers /tmp and more, where the results' folder may lie; a command that begins in it writes to /opt.
        in_opt = ["unshare", "--mount", *([] if os.geteuid() == 0 else ["--map-root-user"]), "sh", "-c",
                  'mount --bind "$0" /opt && exec "$@"', self.results.resolve()]
        profile = f"--callgrind-out-file=/opt/{title}.callgrind.%p"
        self._run([*in_opt, "valgrind", "--tool=callgrind", "--quiet", "--vgdb=no", *options, profile, *command],
                  **environment)
        return list(self.results.glob(f"{title}.callgrind.*"))

    def count_instructions(self, name, *arguments):
        """The instructions of the measured section; the profile stays in the results' folder for callgrind_annotate."""
        title = "-".join([name, *arguments])
        # The program's own linking is no cost of the library: it is done before anything is counted.
        profiles = self._profiles(title, [self.build / "bench" / name, *arguments],
                                  "--toggle-collect=nas_bench_measured", LD_BIND_NOW="1")
        # The sandbox takes several processes, one of which measures.
        profiles.sort(key=total)
        if not profiles or total(profiles[-1]) == 0 or any(total(profile) for profile in profiles[:-1]):
            raise SystemExit(f"{title}: callgrind did not count in exactly one process")
        for profile in profiles[:-1]:
            profile.unlink()
        return profiles[-1].rename(self.results / f"{title}.callgrind")

    def count_commands(self, name, *arguments):
        """The instructions of the programs that a program starts, in whatever section, each from its first to its last;
        by command line."""
        title = "-".join([name, *arguments, "commands"])
        own = str(self.build / "bench" / name)
        counts = Counter()
        for profile in self._profiles(title, [own, *arguments], "--trace-children=yes"):
            command = re.search(r"^cmd: +(.*)$", profile.read_text(), re.MULTILINE).group(1)
            if not command.startswith(own):
                counts[command] += total(profile)
            profile.unlink()
        return counts

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
