"""One build of the library and its tests, with which changes are tried."""

from dataclasses import dataclass
import queue

import confine
from judge import Broken, Judge, Rules
from library import OPTIMISED, Bench, DoesNotBuild, Library
import report


@dataclass(frozen=True)
class Kind:
    flags: list  # for the compiler
    rules: Rules


PLAIN = Kind(OPTIMISED, Rules(memory=1 << 30, environment={}, all_tests=True, noticed="killed"))
# As the preset builds it: the optimiser may leave out the very access that is wrong. AddressSanitizer reserves more
# address space than there is memory; a change comes here when the tests have passed within the plain build's bound.
SANITIZED = Kind([], Rules(memory=confine.UNBOUNDED, environment={"ASAN_OPTIONS": "detect_leaks=1"}, all_tests=False,
                           noticed=report.SANITIZERS))


class Stage:
    def __init__(self, build, options, folder, kind):
        self.workers = options.workers
        self.library = Library(build, options.library, options.sources, folder, kind.flags)
        self.library.build_base(self.workers)
        self.judge = Judge(self.library.build / options.tests, options.see, folder, kind.rules)
        self.benches = queue.Queue()
        for number in range(self.workers):
            bench = Bench(self.library, number)
            bench.link({})
            self.benches.put(bench)
            if number == 0:
                self.judge.measure(bench)

    def begin(self, path):
        """Makes ready for changes of this file. The sum over the objects of the unchanged one."""
        text = path.read_bytes()
        self.library.precompile(path)
        bench = self.benches.get()
        try:
            _, unchanged = bench.compile(path, text)
            self.check_is_compiled(bench, path, text)
        finally:
            self.benches.put(bench)
        return unchanged

    @staticmethod
    def check_is_compiled(bench, path, text):
        """It is the changed file that is compiled, and no other of its name."""
        try:
            bench.compile(path, b"#error\n" + text)
        except DoesNotBuild:
            return
        raise Broken(f"what is changed in {path} is not compiled")

    def try_text(self, path, text, killers, known=None):
        """The outcome and the test that noticed; what KNOWN says of the sum over the objects, if it says something."""
        bench = self.benches.get()
        try:
            objects, total = bench.compile(path, text)
            same = known(total) if known else None
            if same is not None:
                return same
            bench.link(objects)
            return self.judge.judge(bench, path.relative_to(self.library.sources), killers)
        finally:
            self.benches.put(bench)
