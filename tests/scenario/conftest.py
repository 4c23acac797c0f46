"""What the scenarios stand on: a virtual router of their own, with the real daemons and clients.

STAGE names the tree of the project's own programs (`make scenario` builds and names it).
"""

import contextlib
import ctypes
import json
import os
import pathlib
import shlex
import subprocess
import tempfile
import time

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
VR = ROOT / "router" / "vr"
# The processes of a parallel run (pytest -n) have a world each.
WORLD = os.environ.get("VR_STATE", f"{ROOT}/build/router/scenario")
STATE = pathlib.Path(f"{WORLD}-{os.environ.get('PYTEST_XDIST_WORKER', 'only')}")

PATIENCE = 120  # seconds, for what has to happen: it is waited for no longer than it takes

# The order counts: whoever takes an event or a request out of its queue has done it before it lets the lock go, and has
# asked before that for whatever follows. Whether the lock is held the kernel is asked, as nobody is to be disturbed.
IS_SETTLED = """
    cd /var/run/nas || exit
    nothing_waits() { [ ! -s events ] && [ ! -s requests ]; }
    nothing_waits && ! grep -q ":$(stat -c %i worker.lock) " /proc/locks && nothing_waits &&
        kill -0 "$(cat serviced.lock)"
"""

libc = ctypes.CDLL(None, use_errno=True)


class CommandFailed(AssertionError):
    pass


def run(arguments, *, check=True, timeout=5 * PATIENCE, **options):
    """Runs a command; with `check` a failure shows what it printed.

    The output goes into files: a daemon that the command leaves behind would keep a pipe open for ever.
    """
    arguments = [str(argument) for argument in arguments]
    with tempfile.TemporaryFile("w+") as out, tempfile.TemporaryFile("w+") as err:
        returncode = subprocess.run(
            arguments, stdin=subprocess.DEVNULL, stdout=out, stderr=err, timeout=timeout, check=False, **options
        ).returncode
        out.seek(0)
        err.seek(0)
        done = subprocess.CompletedProcess(arguments, returncode, out.read(), err.read())
    if check and done.returncode != 0:
        raise CommandFailed(f"{arguments} ended with {done.returncode}\n{done.stdout}{done.stderr}")
    return done


def enter_network(namespace):
    clone_newnet = 0x40000000
    if libc.setns(namespace.fileno(), clone_newnet) != 0:
        raise OSError(ctypes.get_errno(), "setns")


def wait_until(condition, what):
    """Polls `condition` until it holds; its last value is returned. On a busy machine everything takes its time."""
    end = time.monotonic() + PATIENCE
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {PATIENCE} s: {what}")
        time.sleep(0.1)


def replace(file, text):
    """At once: whoever reads the file meanwhile, and many do, finds the old text or the new one."""
    draft = file.with_name(f".{file.name}.new")
    draft.write_text(text)
    draft.replace(file)


def whole_lines(file):
    """Of a file that somebody is writing to."""
    text = file.read_text(encoding="utf-8") if file.exists() else ""
    return text.split("\n")[:-1]


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

    def read(self, path, check=True):
        """A file's text; without `check` nothing for one that is not there."""
        return self.execute("cat", path, check=check).stdout

    def plug(self, image, disk, folder=None):
        options = ["--disk", disk] + (["--folder", folder] if folder else [])
        return self.vr("plug", image, *options).stdout.split()

    def unplug(self, disk):
        self.vr("unplug", disk)

    def processes(self, name):
        return set(self.execute("/bin/pidof", name, check=False).stdout.split())

    def runs(self, name):
        return self.processes(name) != set()

    def kill(self, *names):
        """Ends daemons at once. Whoever starts a new one may be quick."""
        victims = {name: self.processes(name) for name in names}
        assert all(victims.values()), f"they do not all run: {victims}"
        self.execute("killall", "-9", *names, check=False)  # a child may have ended with its parent
        wait_until(lambda: not any(victims[name] & self.processes(name) for name in names), "the daemons are gone")

    def path(self, path):
        """A file of the router, reached from outside; no link with an absolute target may be on the way."""
        return pathlib.Path(f"/proc/{self.first_process('router')}/root") / path.lstrip("/")

    @contextlib.contextmanager
    def network(self, name):
        """Sockets that this thread opens in the block are those of a host in the network lan, igd or inet."""
        namespaces = f"/proc/{self.first_process('world')}/root{STATE}/world/clients/run/netns"
        with open("/proc/thread-self/ns/net", "rb") as own, open(f"{namespaces}/{name}", "rb") as there:
            enter_network(there)
            try:
                yield
            finally:
                enter_network(own)

    @staticmethod
    def first_process(of):
        return (STATE / f"{of}.pid").read_text().split()[0]

    def add_users(self, service, users):
        """Lets users in: rows (name, password, permission, folder). A running service does not learn of it."""
        self.all_of_nasctl(
            ["user", "add", "--service", service, name, "--password", password]
            + ["--permission", permission, "--folder", folder, "--no-apply"]
            for name, password, permission, folder in users
        )

    def remove_users(self, service):
        users = self.nasctl_json("user", "list", "--service", service)
        self.all_of_nasctl(["user", "remove", "--service", service, user["name"], "--no-apply"] for user in users)

    def all_of_nasctl(self, calls):
        """Several calls at once, which is quicker; it ends with the first that fails."""
        self.execute("sh", "-ec", "\n".join(shlex.join(["nasctl", *call]) for call in calls))

    def switch_on(self, service, **settings):
        """Settings are written with an underscore where nasctl has a dash."""
        if settings:
            changes = [f"{key.replace('_', '-')}={value}" for key, value in settings.items()]
            self.nasctl("service", "set", service, *changes, "--no-apply")
        self.nasctl("service", "enable", service)

    def switch_off(self, service):
        self.nasctl("service", "disable", service)

    def leave(self, service):
        """As before anybody used the service, but for its settings."""
        if self.nasctl_json("service", "show", service)["enabled"]:
            self.switch_off(service)
        self.remove_users(service)

    def settle(self):
        """Until serviced has done what it was asked for, and nobody else runs a callback. It is looked twice: what has
        just been done may be followed by another request, and a new serviced begins with every service."""

        def is_settled():
            return self.execute("sh", "-c", IS_SETTLED, check=False).returncode == 0

        for _ in range(2):
            time.sleep(0.2)
            wait_until(is_settled, "nothing is left to do")

    def events(self):
        return self.nasctl_json("events")

    def list_media(self, *options, timeout=PATIENCE, check=True):
        lister = ROOT / "router" / "dlna-list"
        return self.vr("net", "lan", "/usr/bin/python3", lister, "--timeout", timeout, *options, check=check)


def pytest_terminal_summary(terminalreporter):
    """What tests measured (record_property("measured", text)) is told, also of a quiet and of a parallel run."""
    measured = [
        value
        for report in terminalreporter.getreports("passed") + terminalreporter.getreports("failed")
        for name, value in report.user_properties
        if name == "measured"
    ]
    if measured:
        terminalreporter.section("measured")
    for text in measured:
        terminalreporter.write_line(text)


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


@pytest.fixture(scope="module", autouse=True)
def records_stay(router):
    """Each file of tests begins with the records that the router was brought up with, whatever ran before."""
    before = router.nasctl_json("config", "list")
    yield
    after = router.nasctl_json("config", "list")
    for key in after.keys() - before.keys():
        router.nasctl("config", "unset", key)
    for key, value in before.items():
        if after.get(key) != value:
            router.nasctl("config", "set", key, value)


def write_tree(tree, files):
    """{"Movies/a.mp4": b"...", "Docs/": None}"""
    tree.mkdir(exist_ok=True)
    for name, content in files.items():
        path = tree / name
        path.parent.mkdir(parents=True, exist_ok=True)
        if content is None:
            path.mkdir(exist_ok=True)
        else:
            path.write_bytes(content)


def disk_maker(router, folder):
    """Makes disk images in `folder`: make("name", [("ext4", "Disk1", {"Movies/a.mp4": b"..."}), ...]), a row for each
    partition."""

    def make(name, volumes, *options, size="4M"):
        image = folder / f"{name}.img"
        words = []
        for filesystem, label, files in volumes:
            tree = folder / f"tree-{label}"
            write_tree(tree, files)
            words += ["--fs", filesystem, "--label", label, "--size", size, "--from", tree]
        router.vr("image", image, *options, *words)
        return image

    return make


def image_maker(router, folder):
    """Makes images of disks with one partition: make("ext4", "Disk1", {"Movies/a.mp4": b"...", "Docs/": None})."""
    make = disk_maker(router, folder)
    return lambda filesystem, label, files, size="64M": make(label, [(filesystem, label, files)], size=size)


@contextlib.contextmanager
def plugger(router):
    """Plugs images in and pulls them out at the end: plug(image, "sda"). Whenever a disk comes or goes every service is
    run anew; that is over before anything else begins."""
    disks = []

    def plug(image, disk):
        name, mount_point = router.plug(image, disk)
        disks.append(name)
        router.settle()
        return mount_point

    try:
        yield plug
    finally:
        for disk in reversed(disks):
            router.unplug(disk)
        router.settle()


@pytest.fixture
def add_settings(router):
    """Adds lines to the device's settings."""
    file = router.path("/etc/nas-host.conf")
    original = file.read_text()
    yield lambda lines: replace(file, original + lines)
    replace(file, original)


@pytest.fixture
def make_image(router, tmp_path):
    return image_maker(router, tmp_path)


@pytest.fixture
def no_disk_stays(router):
    """A test that fails takes its disks along."""
    yield
    for record in sorted((STATE / "disks").iterdir()):
        router.vr("unplug", record.name, check=False)


@pytest.fixture
def make_disk(router, tmp_path):
    return disk_maker(router, tmp_path)


@pytest.fixture
def plugged(router):
    with plugger(router) as plug:
        yield plug


@pytest.fixture(scope="module")
def two_disks(router, tmp_path_factory):
    """Disk1 (sda) and Disk2 (sdb), each with a note on itself and in each of its folders Movies and Docs."""
    make = image_maker(router, tmp_path_factory.mktemp("disks"))
    with plugger(router) as plug:
        for disk, label in (("sda", "Disk1"), ("sdb", "Disk2")):
            notes = [f"{folder}note.txt" for folder in ("", "Movies/", "Docs/")]
            plug(make("ext4", label, {note: f"{label}/{note}".encode() for note in notes}), disk)
        yield
