"""The library's sleeps and its clock: library_clock.c, preloaded in the router for as long as the block lasts."""

import contextlib
import pathlib
import shutil

from conftest import STATE, replace, run, whole_lines

SOURCE = pathlib.Path(__file__).with_suffix(".c")
FOLDER = "/share/library_clock"  # in the router
PRELOAD = f"{FOLDER}/clock.so\n"  # the router's /etc/ld.so.preload


class LibraryClock:
    def __init__(self, folder):
        self.folder = folder

    def set(self, seconds):
        """What the library takes for the time, in seconds since 1970."""
        replace(self.folder / "time", f"{seconds}\n")

    def sleeps(self):
        """Every sleep of the library that has ended since the block began: (begin, end), seconds of the monotonic
        clock."""
        lines = [line.split() for line in whole_lines(self.folder / "sleeps")]
        return [(float(begin), float(end)) for _, begin, end in lines]

    def slept(self, begin, end):
        """For how long somebody slept between two moments; two who sleep at the same time count once."""
        total, awake = 0.0, begin
        for since, until in sorted(self.sleeps()):
            since, until = max(since, awake), min(until, end)
            if until > since:
                total += until - since
                awake = until
        return total


@contextlib.contextmanager
def built_clock():
    """For a router that is not up yet: its stage brings the file /etc/ld.so.preload."""
    folder = STATE / "share" / "library_clock"
    folder.mkdir(parents=True)
    try:
        options = ["-shared", "-fPIC", "-O1", f'-DCLOCK_FOLDER="{FOLDER}"']
        run(["cc", "-std=gnu99", *options, "-o", folder / "clock.so", SOURCE, "-ldl"])
        yield LibraryClock(folder)
    finally:
        shutil.rmtree(folder)


@contextlib.contextmanager
def library_clock(router):
    with built_clock() as clock:
        replace(router.path("/etc/ld.so.preload"), PRELOAD)
        try:
            yield clock
        finally:
            router.path("/etc/ld.so.preload").unlink(missing_ok=True)
            router.settle()  # a callback that began with it may write there
