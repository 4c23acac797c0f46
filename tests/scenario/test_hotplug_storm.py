"""Five hundred times a disk is plugged in or pulled out, five disks at once."""

import subprocess
import time

import pytest

import ftp_client
from conftest import STATE, disk_maker, wait_until
from disks import folders, modules, mounts, run_all_services, serviced, settle, switch_records

pytestmark = pytest.mark.usefixtures("no_disk_stays")

DISKS = ("sda", "sdb", "sdc", "sdd", "sde")
ROUNDS = 50

# In every fifth round a disk stays until it is mounted, and `plug` says where; in the others it is pulled out as soon
# as it is there. A line for each pull; whatever is said besides is a complaint.
STORM = """
rounds() {
    n=0
    while [ $n -lt "$2" ]; do
        n=$((n + 1))
        wait=--no-wait
        [ $((n % 5)) != 0 ] || wait=
        usbport plug "/share/storm/$1.img" --disk "$1" $wait
        usbport unplug "$1" && echo "pulled $1"
    done
}
for disk; do rounds "$disk" "$ROUNDS" & done
wait
"""


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
        "led": router.read("/var/run/nas/led/1"),
    }


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
    settle(router)
    wait_until(lambda: router.runs("proftpd"), 20, "the FTP server runs")
    client = ftp_client.Client(router, "anna", "pass-anna")
    notes = {disk: client.get(f"/Disk_{disk}/note.txt").decode() for disk in DISKS}
    for disk in DISKS:
        router.unplug(disk)
    ftp(False)
    return notes


def test_a_storm_leaves_nothing_and_breaks_nothing(router, ftp, images, record_property):
    assert serve_all(router, ftp) == {disk: disk for disk in DISKS}
    before = state(router)
    assert before["mounts"] == {} and before["folders"] == [] and before["loop devices"] == []

    begin = time.monotonic()
    storm = router.execute("env", f"ROUNDS={ROUNDS}", "sh", "-c", STORM, "sh", *DISKS, timeout=600)
    seconds = time.monotonic() - begin
    settle(router)

    lines = storm.stdout.splitlines()
    assert storm.stderr == ""
    assert sorted(line for line in lines if line.startswith("pulled")) == sorted(
        f"pulled {disk}" for disk in DISKS for _ in range(ROUNDS)
    )
    mounted = sorted(line for line in lines if not line.startswith("pulled"))
    assert mounted == sorted(f"{disk} /tmp/mnt/Disk_{disk}" for disk in DISKS for _ in range(ROUNDS // 5))
    assert state(router) == before
    assert len(serviced(router)) == 1
    assert serve_all(router, ftp) == {disk: disk for disk in DISKS}
    record_property("measured", f"{2 * ROUNDS * len(DISKS)} plugs and pulls of {len(DISKS)} disks: {seconds:.0f} s")
