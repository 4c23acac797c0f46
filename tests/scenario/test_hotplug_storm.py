"""Five hundred times a disk is plugged in or pulled out, five disks at once; fewer times on a slow machine."""

import collections
import contextlib
import re
import subprocess
import time

import pytest

import ftp_client
from conftest import STATE, disk_maker, wait_until
from disks import (
    LOG,
    event_ids,
    folders,
    forget_events,
    handled_events,
    modules,
    mounts,
    run_all_services,
    serviced,
    switch_records,
)

pytestmark = pytest.mark.usefixtures("no_disk_stays")

DISKS = ("sda", "sdb", "sdc", "sdd", "sde")
ROUNDS = 50
FEWEST_ROUNDS = 25  # each is four events of the kernel: 500 of them at least
SECONDS = 40  # when these are over no other round begins

# In the first round and every fifth from there a disk stays until it is mounted, and `plug` says where; in the others
# it is pulled out as soon as it is there. A line for each pull; whatever is said besides is a complaint.
STORM = """
rounds() {
    n=0
    while [ $n -lt "$2" ] && { [ $n -lt "$3" ] || [ "$(date +%s)" -lt "$end" ]; }; do
        wait=--no-wait
        [ $((n % 5)) != 0 ] || wait=
        n=$((n + 1))
        usbport plug "/share/storm/$1.img" --disk "$1" $wait
        usbport unplug "$1" && echo "pulled $1"
    done
}
end=$(($(date +%s) + SECONDS_LEFT))
for disk; do rounds "$disk" "$ROUNDS" "$FEWEST_ROUNDS" & done
wait
"""


# Of serviced, its workers and hotplug, about what should not happen.
COMPLAINT = "does not end|is lost|was not finished|given up|no room|cannot be|ended by signal|worker failed|events wait"


@pytest.fixture
def images(router):
    """Small disks, each with a note of its own, where the router sees them."""
    folder = STATE / "share" / "storm"
    folder.mkdir()
    make = disk_maker(router, folder)
    for disk in DISKS:
        make(disk, [("ext4", f"Disk_{disk}", {"note.txt": disk.encode()})], size="2M")
    yield folder
    subprocess.run(["rm", "-r", folder], check=True)


@pytest.fixture
def ftp(router):
    """Switched on around the storm: in it, each end of a daemon would take a second of sleep."""
    router.add_users("ftp", [("anna", "pass-anna", "rw", "")])

    def switch(on):
        switch_records(router, {"ftp_conf": f"{on:d},21,9000,UTF-8,0,1"})
        run_all_services(router)

    yield switch
    switch(False)
    router.remove_users("ftp")


def state(router):
    """Whatever a disk could leave behind."""
    return {
        "mounts": mounts(router),
        "folders": folders(router),
        "nodes": router.execute("sh", "-c", "ls -d /dev/sd* /dev/.loop* 2>/dev/null", check=False).stdout,
        "records": router.execute("ls", "/dev/.usb", "/var/run/nas/volumes").stdout,
        "sysfs": router.execute("ls", "/sys/block", "/sys/bus/usb/devices").stdout,
        "partitions": router.read("/proc/partitions"),
        "modules": modules(router),
        "queues": router.execute("sh", "-c", "cat /var/run/nas/requests /var/run/nas/events").stdout,
        "services": router.nasctl_json("service", "list"),
        "processes": processes(router),
        "loop devices": loop_devices(),
        "run_dir": router.execute("ls", "-A", "/var/run/nas").stdout,
        "led": router.read("/var/run/nas/led/1"),
    }


def steady_state(router):
    """As it is seen twice in a row: services are looked after every few seconds."""
    seen = [state(router)]

    def is_steady():
        seen.append(state(router))
        return seen[-1] == seen[-2]

    wait_until(is_steady, "nothing changes any more")
    return seen[-1]


def wait_until_as(router, before):
    """Of several serviced that were started one stays, a while later."""
    with contextlib.suppress(AssertionError):
        wait_until(lambda: state(router) == before, "all is as before")
    assert state(router) == before


def processes(router):
    """By name, without this look itself."""
    names = router.execute("sh", "-c", "exec cat /proc/[0-9]*/comm 2>/dev/null", check=False).stdout.split()
    return sorted(name for name in names if name not in ("cat", "sh"))


def loop_devices():
    """Those behind which there is an image of this world."""
    listed = subprocess.run(["losetup", "--list", "--noheadings", "--output", "NAME,BACK-FILE"], capture_output=True)
    return [line for line in listed.stdout.decode().splitlines() if str(STATE) in line]


def serve_all(router, ftp):
    """Plugs every disk in, has its note by FTP, and pulls it out."""
    ftp(True)
    for disk in DISKS:
        router.plug(STATE / "share" / "storm" / f"{disk}.img", disk)
    router.settle()
    wait_until(lambda: router.runs("proftpd"), "the FTP server runs")
    client = ftp_client.Client(router, "anna", "pass-anna")
    notes = {disk: client.get(f"/Disk_{disk}/note.txt").decode() for disk in DISKS}
    for disk in DISKS:
        router.unplug(disk)
    ftp(False)
    return notes


def expect_each_event_once(router, rounds):
    """What was handled, and what the user was told of it. `rounds`: of each disk."""
    handled = collections.Counter(handled_events(router))
    names = [(name, rounds[disk]) for disk in DISKS for name in (disk, f"{disk}1")]
    assert handled == {f"{action} {name}": times for name, times in names for action in ("add", "remove")}

    told = collections.Counter(event_ids(router))
    pulls = sum(rounds.values())
    assert (told["@{126}"], told["@{129}"], told["@{128}"]) == (pulls, pulls, pulls)
    removals = [event for event in event_ids(router) if event in ("@{128}", "@{129}")]
    assert removals == ["@{129}", "@{128}"] * pulls

    log = router.read(LOG)
    performed = len(re.findall(r'"mount:sd[a-e]": begins', log)) - len(re.findall(r"sd[a-e] is gone already", log))
    assert told["@{127}"] == performed >= mounts_of(rounds)
    assert [line for line in log.splitlines() if re.search(COMPLAINT, line)] == []


def mounts_of(rounds):
    """How often a disk stays until it is mounted."""
    return sum((times + 4) // 5 for times in rounds.values())


def test_a_storm_leaves_nothing_and_breaks_nothing(router, ftp, images, add_settings, record_property):
    add_settings("event_log_size = 10000000\nserviced_log_size = 10000000\n")  # nothing is to be dropped
    assert serve_all(router, ftp) == {disk: disk for disk in DISKS}
    before = steady_state(router)
    assert before["mounts"] == {} and before["folders"] == [] and before["loop devices"] == []

    forget_events(router)
    router.execute("sh", "-c", f": > {LOG}")
    begin = time.monotonic()
    limits = [f"ROUNDS={ROUNDS}", f"FEWEST_ROUNDS={FEWEST_ROUNDS}", f"SECONDS_LEFT={SECONDS}"]
    storm = router.execute("env", *limits, "sh", "-c", STORM, "sh", *DISKS, timeout=600)
    seconds = time.monotonic() - begin
    router.settle()

    lines = storm.stdout.splitlines()
    assert storm.stderr == ""
    rounds = collections.Counter(line.split()[1] for line in lines if line.startswith("pulled"))
    assert all(FEWEST_ROUNDS <= rounds[disk] <= ROUNDS for disk in DISKS) and len(rounds) == len(DISKS)
    mounted = collections.Counter(line for line in lines if not line.startswith("pulled"))
    assert mounted == {f"{disk} /tmp/mnt/Disk_{disk}": mounts_of({disk: times}) for disk, times in rounds.items()}
    wait_until_as(router, before)
    expect_each_event_once(router, rounds)
    wait_until(lambda: len(serviced(router)) == 1, "of several that were started one stays")
    assert serve_all(router, ftp) == {disk: disk for disk in DISKS}
    plugs = 2 * sum(rounds.values())
    record_property("measured", f"{plugs} plugs and pulls of {len(DISKS)} disks: {seconds:.0f} s")
