#!/usr/bin/env python3
"""mutate.py: changes the library a little, one place at a time, and asks the tests whether they notice.

With --sanitized, a change that they do not notice is tried again in that build.

Fails when more than 3 in 100 changes go unnoticed, or the list of equivalent ones is not right."""

import argparse
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
import sys
import threading
import time

import equivalent
from judge import Broken, Killers
from library import DoesNotBuild
import places
import report
from stage import PLAIN, SANITIZED, Stage

BAR = 3.0  # survivors in 100


def read_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="a configured build folder")
    parser.add_argument("--sanitized", help="another one, with sanitizers, of the same targets")
    parser.add_argument("--library", required=True, help="the library's file, as the build knows it")
    parser.add_argument("--tests", required=True, help="the test program, a GoogleTest one, as the build knows it")
    parser.add_argument("--sources", required=True, help="the folder of the library's sources")
    parser.add_argument("--see", action="append", default=[], help="a folder that the tests read")
    parser.add_argument("--out", required=True, help="where the results go")
    parser.add_argument("--equivalent", help="the list of changes that nobody can notice")
    parser.add_argument("--every", type=int, default=1, help="take every n-th change")
    parser.add_argument("--workers", type=int, default=1)
    parser.add_argument("--again", action="store_true", help="only what has survived before")
    parser.add_argument("files", nargs="+")
    return parser.parse_args()


class Run:
    def __init__(self, options):
        self.options = options
        self.out = Path(options.out).resolve()
        self.plain = Stage(options.build, options, self.out, PLAIN)
        self.library = self.plain.library
        self.sanitized = None
        if options.sanitized:
            self.sanitized = Stage(options.sanitized, options, self.out / "sanitized", SANITIZED)
        self.reasons = equivalent.read_list(Path(options.equivalent)) if options.equivalent else {}
        self.lock = threading.Lock()
        self.complaints = []

    def name(self, path):
        """As people call a file: from the folder above the sources."""
        return str(path.relative_to(self.library.sources.parent))

    def find_mutants(self):
        """For each of the chosen files."""
        chosen = {Path(file).resolve() for file in self.options.files}
        found = {}
        for path in self.library.files():
            if path in chosen:
                unit = self.library.dependents(path)[0]
                found[path] = places.find_mutants(places.parse(unit.path, unit.flags), path, self.name(path))
        for path in sorted(chosen - set(found)):
            print(f"mutate: {path} is no part of the library", file=sys.stderr)
        return found

    def choose(self, mutants_of):
        """Every n-th of all, or those that have survived."""
        count = 0
        chosen = {}
        for path, mutants in mutants_of.items():
            if self.options.again:
                before = report.read_results(self.out, self.name(path))
                chosen[path] = [m for m in mutants if before.get(m.key(), {}).get("outcome") == "survived"]
            else:
                chosen[path] = [m for number, m in enumerate(mutants, count) if number % self.options.every == 0]
                count += len(mutants)
        return chosen

    def try_file(self, path, mutants):
        """The results, in the mutants' order."""
        text = path.read_bytes()
        sums = {self.plain.begin(path): None}
        if self.sanitized:
            self.sanitized.begin(path)
        killers = Killers(self.noticed_before(path))

        def try_one(mutant):
            begin = time.monotonic()
            outcome, test = self.try_mutant(path, text, mutant, sums, killers)
            return report.as_result(mutant, outcome, test, time.monotonic() - begin)

        with ThreadPoolExecutor(self.options.workers) as pool:
            return list(pool.map(try_one, mutants))

    def noticed_before(self, path):
        """When only survivors are tried: the tests that noticed the file's other changes, the most able first."""
        before = report.read_results(self.out, self.name(path)) if self.options.again else {}
        tests = Counter(result["test"] for result in before.values() if result["outcome"] in report.NOTICED)
        return [test for test, _ in tests.most_common()]

    def try_mutant(self, path, text, mutant, sums, killers):
        def known(total):
            with self.lock:
                same = sums.setdefault(total, mutant)
            if same is mutant:
                return None
            return ("same object", None) if same is None else ("same as another", same.change)

        changed = mutant.apply(text)
        try:
            outcome, test = self.plain.try_text(path, changed, killers, known)
        except DoesNotBuild:
            return "did not build", None
        if outcome == "survived" and self.sanitized:
            outcome, test = self.try_sanitized(path, changed, killers)
        if mutant.key() in self.reasons:
            if outcome == "survived":
                return "equivalent", self.reasons[mutant.key()]
            if outcome in report.NOTICED:
                self.complaints.append(f"Listed as equivalent, but {test} notices it:\n{equivalent.show(mutant.key())}")
        return outcome, test

    def try_sanitized(self, path, changed, killers):
        try:
            return self.sanitized.try_text(path, changed, killers)
        except DoesNotBuild:  # the compiler itself may see that a constant is computed out of bounds
            return report.SANITIZERS, "compiler"

    def keep(self, name, mutants, results):
        """When only survivors were tried, the others' last results stay. All that is known of the file now."""
        before = report.read_results(self.out, name) if self.options.again else {}
        new = {(name, result["function"], result["text"], result["change"]): result for result in results}
        every = [new.get(mutant.key()) or before.get(mutant.key()) for mutant in mutants]
        known = [result for result in every if result]
        report.write_results(self.out, name, known)
        return known

    def run(self):
        mutants_of = self.find_mutants()
        names = {self.name(path) for path in self.library.files()}
        for key in equivalent.without_match(self.reasons, names, sum(mutants_of.values(), [])):
            self.complaints.append(f"Listed as equivalent, but there is no such change:\n{equivalent.show(key)}")
        counts_of, survivors = {}, []
        for path, mutants in self.choose(mutants_of).items():
            name = self.name(path)
            results = self.keep(name, mutants_of[path], self.try_file(path, mutants) if mutants else [])
            if not results:
                continue
            counts_of[name] = Counter(result["outcome"] for result in results)
            survivors += report.survivors(name, results)
            print(report.row(name, counts_of[name]), file=sys.stderr, flush=True)
        if survivors:
            print("\n".join(["Survivors:", *survivors]))
        print(report.table(counts_of))
        for complaint in self.complaints:
            print(f"\n{complaint}", end="")
        return 1 if self.complaints or report.survivors_in_100(sum(counts_of.values(), Counter())) > BAR else 0


def main():
    try:
        return Run(read_arguments()).run()
    except (Broken, DoesNotBuild, equivalent.BadList, places.Unreadable) as error:
        print(f"mutate: {error}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
