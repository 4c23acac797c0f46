"""The library's sleeps and its clock: library_clock.c, preloaded in the router for as long as the block lasts."""

import contextlib
import pathlib
import shutil

from conftest import STATE, run

SOURCE = pathlib.Path(__file__).with_suffix(".c")
FOLDER = "/share/library_clock"  # in the router


class LibraryClock:
    def __init__(self, router, folder):
        self.router = router
        self.folder = folder

    def set(self, seconds):
        """What the library takes for the time, in seconds since 1970."""
        (self.folder / "time").write_text(f"{seconds}\n")

    def sleeps(self):
        """Every sleep of the library since the block began: (begin, end), seconds of the monotonic clock."""
        file = self.folder / "sleeps"
        lines = [line.split() for line in file.read_text().splitlines()] if file.exists() else []
        return [(float(begin), float(end)) for _, begin, end in lines]


@contextlib.contextmanager
def library_clock(router):
    folder = STATE / "share" / "library_clock"
    folder.mkdir()
    try:
        options = ["-shared", "-fPIC", "-O1", f'-DCLOCK_FOLDER="{FOLDER}"']
        run(["cc", "-std=gnu99", *options, "-o", folder / "clock.so", SOURCE, "-ldl"])
        router.path("/etc/ld.so.preload").write_text(f"{FOLDER}/clock.so\n")
        yield LibraryClock(router, folder)
    finally:
        router.path("/etc/ld.so.preload").unlink(missing_ok=True)
        shutil.rmtree(folder)
