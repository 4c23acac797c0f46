"""Runs the tests on a changed library, those first that are likely to notice."""

from dataclasses import dataclass
import json
import math
import os
from pathlib import Path
import re
import subprocess
import sys
import threading

import confine

KILLERS = 12  # tests that are asked first: they noticed the last changes of the same file
START = 0.1   # seconds until the first test begins
STARTED = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)
FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+)", re.MULTILINE)
PASSED = re.compile(r"^\[       OK \] ([^\s,]+).*\((\d+) ms\)$", re.MULTILINE)
LEAKED = "ERROR: LeakSanitizer: detected memory leaks"
SKIPPED = re.compile(r"^\[  SKIPPED \] ([^\s,]+).*\((\d+) ms\)$", re.MULTILINE)


class Broken(Exception):
    """The tests say nothing about the library."""


@dataclass
class Case:
    name: str
    place: str  # the file it stands in, or the folder of its data
    seconds: float = 1.0


def list_cases(program, list_file):
    subprocess.run([program, "--gtest_list_tests", f"--gtest_output=json:{list_file}"], check=True,
                   stdout=subprocess.DEVNULL)
    listed = json.loads(list_file.read_text())
    return [
        Case(f"{suite['name']}.{case['name']}", case["file"] + " " + case.get("value_param", "").strip('"'))
        for suite in listed["testsuites"] for case in suite["testsuite"]
    ]


class Killers:
    """The tests that noticed something in a file, the latest first."""

    def __init__(self, names=()):
        self.names = list(dict.fromkeys(names))[:KILLERS]
        self.lock = threading.Lock()

    def add(self, name):
        with self.lock:
            self.names = [name] + [other for other in self.names if other != name][:KILLERS - 1]

    def latest(self):
        with self.lock:
            return list(self.names)


@dataclass(frozen=True)
class Rules:
    """How the tests of a build are run, and what it is called when they notice something."""
    memory: int  # bytes
    environment: dict
    all_tests: bool  # or those alone that are likely to notice
    noticed: str


class Judge:
    def __init__(self, program, see, folder, rules):
        self.rules = rules
        self.program = str(Path(program).resolve())
        self.see = [str(Path(path).resolve()) for path in see] + [os.path.dirname(self.program)]
        self.root = folder / "root"
        self.root.mkdir(parents=True, exist_ok=True)
        self.cases = list_cases(self.program, folder / "tests.json")
        self.seconds = {case.name: case.seconds for case in self.cases}

    def mirrored(self, source):
        """The tests of a file or of its folder, by their names."""
        parts = source.with_suffix("").parts
        area, stem = parts[-2] if len(parts) > 1 else "", parts[-1]
        own = re.compile(rf"/{area}/|[ /]{stem}[_./]")
        return [case.name for case in self.cases if own.search(case.place)]

    def check_library(self, bench):
        """The tests really load this one."""
        environment = {"LD_TRACE_LOADED_OBJECTS": "1", "LD_LIBRARY_PATH": str(bench.lib)}
        loaded = subprocess.run([self.program], env=environment, stdout=subprocess.PIPE, text=True, check=True).stdout
        if f"=> {bench.lib}/" not in loaded:
            raise Broken(f"{self.program} does not load the library from {bench.lib}")

    def measure(self, bench):
        """What the tests take when nothing is changed; in another order they must pass, too."""
        self.check_library(bench)
        for flags in (["--gtest_shuffle"], []):
            status, output = self.run(bench, [[case.name for case in self.cases]], flags)
            passed = PASSED.findall(output) + SKIPPED.findall(output)
            if status != 0 or len(passed) != len(self.cases):
                raise Broken(f"the tests do not pass on the unchanged library:\n{output[-3000:]}")
        self.seconds = {name: int(milliseconds) / 1000 for name, milliseconds in passed}

    def program_line(self, bench, number, names, flags):
        seconds = START + sum(self.seconds[name] for name in names)
        flag_file = bench.lib / f"flags-{number}"
        flag_file.write_text("--gtest_filter=" + ":".join(names) + "\n", encoding="utf-8")
        return {
            "command": [self.program, f"--gtest_flagfile={flag_file}", "--gtest_fail_fast", "--gtest_color=no", *flags],
            "processor_seconds": math.ceil(max(2, 10 * seconds)),
            "seconds": math.ceil(max(30, 20 * seconds)),
        }

    def run(self, bench, parts, flags=()):
        """The status of confine.py, and what the tests said."""
        programs = [self.program_line(bench, number, names, flags) for number, names in enumerate(parts) if names]
        job = {
            "root": str(self.root), "see": self.see + [str(bench.lib)], "programs": programs,
            "memory": self.rules.memory,
            "environment": {"LD_LIBRARY_PATH": str(bench.lib), "PATH": "/usr/bin:/bin", **self.rules.environment},
        }
        job_file, output_file = bench.folder / "job.json", bench.folder / "output"
        job_file.write_text(json.dumps(job), encoding="utf-8")
        with open(output_file, "wb") as output:
            status = subprocess.run([sys.executable, "-I", "-S", "-B", confine.__file__, str(job_file)],
                                    stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, check=False,
                                    timeout=60 + sum(program["seconds"] for program in programs)).returncode
        return status, output_file.read_text(encoding="utf-8", errors="replace")

    def judge(self, bench, source, killers):
        """("survived", None), (what the rules say, test) or ("timed out", test)."""
        first = [name for name in killers.latest() if name in self.seconds]
        second = [name for name in self.mirrored(source) if name not in first]
        known = set(first + second)
        others = [case.name for case in self.cases if case.name not in known] if self.rules.all_tests else []
        status, output = self.run(bench, [first, second, others])
        if status == 0:
            return "survived", None
        outcome = {confine.FAILED: self.rules.noticed, confine.TIMED_OUT: "timed out"}.get(status)
        names = self.who_noticed(output)
        if outcome is None or not names:
            raise Broken(f"status {status}:\n{output[-3000:]}")
        killers.add(names[0])
        return outcome, names[0]

    @staticmethod
    def who_noticed(output):
        """The test that failed, or that the program ended in. What leaks is told when all tests are over."""
        if failed := FAILED.findall(output):
            return failed[:1]
        return ["LeakSanitizer"] if LEAKED in output else STARTED.findall(output)[-1:]
