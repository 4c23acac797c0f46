"""What the scenarios stand on: a virtual router of their own, with the real daemons and clients.

STAGE names the tree of the project's own programs (`make scenario` builds and names it).
"""

import json
import os
import pathlib
import subprocess
import time

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
VR = ROOT / "router" / "vr"
STATE = ROOT / "build" / "router" / "scenario"


class CommandFailed(AssertionError):
    pass


def run(arguments, *, check=True, **options):
    """Runs a command; with `check` a failure shows what it printed."""
    done = subprocess.run(
        [str(argument) for argument in arguments], capture_output=True, text=True, timeout=120, check=False, **options
    )
    if check and done.returncode != 0:
        raise CommandFailed(f"{arguments} ended with {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def wait_until(condition, seconds, what):
    """Polls `condition` until it holds; its last value is returned."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what}")
        time.sleep(0.1)


class Router:
    """The virtual router as a user and a firmware engineer see it."""

    def vr(self, *arguments, check=True, **options):
        return run([VR, "--state", STATE, *arguments], check=check, **options)

    def execute(self, *command, check=True, **options):
        """Runs a command in the router."""
        return self.vr("exec", *command, check=check, **options)

    def client(self, network, *command, check=True, **options):
        """Runs a client program in the network lan, igd or inet."""
        return self.vr("cli", network, *command, check=check, **options)

    def nasctl(self, *arguments, check=True):
        return self.execute("nasctl", *arguments, check=check)

    def nasctl_json(self, *arguments):
        return json.loads(self.nasctl("--json", *arguments).stdout)

    def read(self, path):
        return self.execute("cat", path).stdout

    def plug(self, image, disk, folder=None):
        options = ["--disk", disk] + (["--folder", folder] if folder else [])
        return self.vr("plug", image, *options).stdout.split()

    def unplug(self, disk):
        self.vr("unplug", disk)

    def runs(self, name):
        return self.execute("/bin/pidof", name, check=False).returncode == 0

    def events(self):
        return self.nasctl_json("events")

    def list_media(self, *options, timeout=20):
        return self.vr("net", "lan", "/usr/bin/python3", ROOT / "router" / "dlna-list", "--timeout", timeout, *options)


@pytest.fixture(scope="session")
def router():
    stage = os.environ.get("STAGE")
    if os.geteuid() != 0:
        pytest.exit("The scenarios bring a virtual router up, which needs root.", returncode=2)
    if not stage:
        pytest.exit("STAGE names no tree of programs: run the scenarios with 'make scenario'.", returncode=2)
    up = Router()
    up.vr("down")
    up.vr("up", "--stage", stage)
    yield up
    up.vr("down")  # fails when anything is left behind


@pytest.fixture
def make_image(router, tmp_path):
    """Makes disk images: make_image("ext4", "Disk1", {"Movies/a.mp4": b"..."})."""

    def make(filesystem, label, files, size="64M"):
        tree = tmp_path / f"tree-{label}"
        for name, content in files.items():
            path = tree / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(content)
        tree.mkdir(exist_ok=True)
        image = tmp_path / f"{label}.img"
        router.vr("image", image, "--fs", filesystem, "--label", label, "--size", size, "--from", tree)
        return image

    return make


@pytest.fixture
def plugged(router):
    """Plugs images in and pulls them out at the end: plugged(image, "sda")."""
    disks = []

    def plug(image, disk):
        name, mount_point = router.plug(image, disk)
        disks.append(name)
        return mount_point

    yield plug
    for disk in reversed(disks):
        router.unplug(disk)
