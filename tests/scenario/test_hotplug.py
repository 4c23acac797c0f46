"""Disks that come and go: the kernel's event, serviced, the mount, the services, and the way back."""

import itertools
import re
import time

import pytest

from conftest import wait_until
from disks import LOG, event_ids, folders, forget_events, modules, mounts, run_all_services, serviced

pytestmark = pytest.mark.usefixtures("no_disk_stays")


@pytest.fixture
def services(router):
    """FTP and Samba for everybody, the media server with its folder on the disk Disk1."""
    records = {
        "ftp_conf": "1,21,9000,UTF-8,0,1",
        "samba_conf": "1,ROUTER,HOME,0,0,0,1",
        "media_conf": "1,Films,",
        "media_hddname": "Disk1",
        "media_folder": "Movies",
    }
    for key, value in records.items():
        router.nasctl("config", "set", key, value)
    router.settle()
    yield
    for key in ("ftp_conf", "samba_conf", "media_conf"):
        router.nasctl("config", "set", key, "0" + records[key][1:])
    run_all_services(router)  # which stops these three
    wait_until(lambda: not any(router.runs(name) for name in ("proftpd", "smbd", "minidlna")), "no daemon runs")


def test_a_disk_starts_the_services_and_takes_them_down(router, services, make_image):
    image = make_image("ext4", "Disk1", {"Movies/note.txt": b"hello"})
    first = serviced(router)
    forget_events(router)
    begin = time.monotonic()
    assert router.plug(image, "sda") == ["sda", "/tmp/mnt/Disk1"]
    wait_until(lambda: all(router.runs(name) for name in ("proftpd", "smbd", "minidlna")), "every daemon runs")
    print(f"from the plug to the last daemon: {time.monotonic() - begin:.1f} s")
    router.settle()
    wait_until(lambda: len(serviced(router)) == 1, "of several that were started one stays")
    assert serviced(router) != first
    assert event_ids(router)[:2] == ["@{126}", "@{127}"]
    assert modules(router) == ["tntfs", "ext2", "jbd", "ext3", "fat", "fuse", "msdos", "vfat", "jbd2", "ext4dev"]

    begin = time.monotonic()
    router.unplug("sda")
    print(f"from the pull to the last event: {time.monotonic() - begin:.1f} s")
    assert mounts(router) == {} and folders(router) == []
    assert modules(router) == ["tntfs"]
    assert [event for event in event_ids(router) if event in ("@{128}", "@{129}")] == ["@{129}", "@{128}"]
    router.settle()
    assert router.runs("proftpd") and router.runs("smbd")
    assert not router.runs("minidlna")
    assert event_ids(router)[-1] == "@{105}"  # the media server misses its disk
    wait_until(lambda: len(serviced(router)) == 1, "of several that were started one stays")


@pytest.mark.parametrize("filesystem", ["exfat", "ntfs"])
def test_a_volume_whose_driver_is_killed_comes_back(router, services, make_image, plugged, filesystem):
    driver = {"exfat": "mount.exfat-fuse", "ntfs": "ntfs-3g"}[filesystem]
    plugged(make_image(filesystem, "Disk1", {"Movies/note.txt": b"hello"}), "sda")
    wait_until(lambda: router.runs("minidlna"), "the media server runs and keeps the volume busy")
    router.settle()
    router.kill(driver)
    wait_until(lambda: router.runs(driver), "another driver runs")
    note = "/tmp/mnt/Disk1/Movies/note.txt"
    wait_until(lambda: router.read(note, check=False) == "hello", "the volume is there again")
    wait_until(lambda: router.runs("minidlna"), "the media server runs again")


def test_a_service_that_dies_is_started_again(router, services):
    wait_until(lambda: router.runs("smbd"), "smbd runs")
    router.kill("smbd")
    wait_until(lambda: router.runs("smbd"), "smbd runs again")


def test_a_service_is_looked_after_when_its_nasctl_was_killed(router, services):
    router.settle()
    starts_samba = """
        nasctl service start samba >/dev/null 2>&1 </dev/null &
        until grep -qsx 'nasctl: samba' /var/run/nas/worker.lock; do kill -0 $! || exit; usleep 10000; done
        kill -9 $!
    """
    router.execute("sh", "-c", starts_samba)
    wait_until(lambda: '"nasctl: samba" was not finished' in router.read(LOG), "a worker has noticed it")
    wait_until(lambda: router.runs("smbd"), "smbd runs: it counts no longer as being started")
    router.kill("smbd")
    wait_until(lambda: router.runs("smbd"), "smbd runs again")


def test_serviced_that_is_killed_comes_back(router):
    router.settle()
    old = serviced(router)
    router.execute("killall", "-9", "serviced")
    wait_until(lambda: serviced(router) and serviced(router) != old, "init has started another")
    router.settle()
    wait_until(lambda: len(serviced(router)) == 1, "of several that were started one stays")


def test_a_disk_in_use_is_let_go(router, make_image):
    router.plug(make_image("ext4", "Disk1", {"note.txt": b"hello"}), "sda")
    router.settle()
    router.execute("sh", "-c", "cd /mnt/Disk1 && sleep 600 >/dev/null 2>&1 </dev/null &")
    wait_until(lambda: router.runs("sleep"), "the disk is in use")
    router.unplug("sda")
    assert mounts(router) == {} and folders(router) == []
    assert "/tmp/mnt/Disk1 is in use by sleep (" in router.read(LOG)
    assert not is_let_go(router, "sda")
    router.execute("killall", "sleep")
    wait_until(lambda: is_let_go(router, "sda"), "the disk is let go")


def is_let_go(router, disk):
    return router.execute("flock", "-n", f"/dev/.usb/{disk}", "true", check=False).returncode == 0


def test_a_disk_without_a_file_system_leaves_nothing(router, tmp_path):
    image = tmp_path / "empty.img"
    image.write_bytes(bytes(1 << 20))
    failed = router.vr("plug", image, "--disk", "sda", check=False)
    assert failed.returncode == 1 and "sda could not be mounted" in failed.stderr
    assert "sda is not mounted: no file system is found on it" in router.read(LOG)
    assert folders(router) == []


def test_two_disks_of_one_label_and_their_return(router, make_image, tmp_path):
    first = make_image("ext4", "Disk1", {"a": b"first"})
    first = first.rename(tmp_path / "first.img")
    second = make_image("ext4", "Disk1", {"a": b"second"})
    router.plug(first, "sda")
    assert router.plug(second, "sdb") == ["sdb", "/tmp/mnt/Disk1_2"]
    router.unplug("sda")
    assert folders(router) == ["Disk1_2"]
    assert router.plug(first, "sda") == ["sda", "/tmp/mnt/Disk1"]
    router.unplug("sdb")
    router.unplug("sda")
    assert folders(router) == []


def test_hundreds_of_events_are_handled_once_each(router):
    router.settle()
    storm = """
        : > /var/log/nas-serviced
        n=0
        while [ $n -lt 200 ]; do
            n=$((n + 1))
            for event in add:sdq change:sda add:loop0; do
                ACTION=${event%:*} DEVPATH=/devices/x/block/${event#*:} SEQNUM=$((5000 + n)) \\
                    /sbin/hotplug block <&- >&- 2>&- &
            done
        done
        wait
        grep -c ': add /devices/x/block/sdq$' /var/log/nas-serviced
        ! grep -E 'sda|loop0' /var/log/nas-serviced
    """
    assert router.execute("sh", "-c", storm).stdout.split()[0] == "200"
    router.settle()
    assert folders(router) == []


def hold_lock(router, name):
    router.execute("sh", "-c", f"flock /var/run/nas/{name} sleep 600 >/dev/null 2>&1 </dev/null &")
    wait_until(lambda: router.runs("sleep"), "the lock is held")


def let_lock_go(router):
    router.execute("killall", "sleep")


def test_a_removal_whose_handler_is_killed_is_done_by_another(router, make_image):
    router.plug(make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M"), "sda")
    router.settle()
    hold_lock(router, "worker.lock")
    router.execute("sh", "-c", "(usbport unplug sda; echo $?) >/tmp/unplug 2>&1 </dev/null &")
    wait_until(lambda: " 1 remove /" in router.read("/var/run/nas/events"), "the handler waits for the lock")
    router.execute("killall", "-9", "hotplug")
    wait_until(lambda: "sda1 was not finished: its handler ended early; once more" in router.read(LOG), "the next")
    let_lock_go(router)
    wait_until(lambda: router.read("/tmp/unplug", check=False) == "0\n", "the disk is pulled out")
    assert mounts(router) == {} and folders(router) == []


def test_a_removal_that_nobody_handles_is_a_failure(router, make_image):
    router.plug(make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M"), "sda")
    router.settle()
    hold_lock(router, "events.drain")  # nobody can handle an event
    failed = router.vr("unplug", "sda", "--wait", 1, check=False)
    assert failed.returncode == 1 and "the events of sda are not handled" in failed.stderr
    assert mounts(router) == {"/dev/sda1": "/tmp/mnt/Disk1"}
    let_lock_go(router)
    wait_until(lambda: mounts(router) == {}, "serviced has the events handled")
    router.settle()
    assert folders(router) == []


def test_an_image_that_is_refused_leaves_no_record(router, tmp_path):
    image = tmp_path / "gpt.img"
    content = bytearray(1 << 20)
    content[446 + 4] = 0xEE
    content[510:512] = b"\x55\xaa"
    image.write_bytes(content)
    refused = router.vr("plug", image, "--disk", "sdp", check=False)
    assert refused.returncode == 1 and "the image has a GPT" in refused.stderr
    assert "sdp" not in router.execute("ls", "/dev/.usb").stdout


def overtaken_in_a_race(router, base):
    """Of twenty pairs of events the later one's handler is the first one every time; the numbers between belong to
    other devices. How many pairs were not handled in their order."""
    race = f"""
        : > {LOG}
        for n in $(seq 20); do
            for number in $(({base} + 10 * n + 5)) $(({base} + 10 * n)); do
                ACTION=add DEVPATH=/devices/$number/block/sdq SEQNUM=$number /sbin/hotplug block <&- >&- 2>&- &
            done
            wait
        done
    """
    router.execute("sh", "-c", race)
    router.settle()
    numbers = [int(number) for number in re.findall(r": add /devices/(\d+)/block/sdq$", router.read(LOG), re.MULTILINE)]
    assert sorted(numbers) == sorted(base + 10 * n + late for n in range(1, 21) for late in (0, 5))
    return sum(first > second for first, second in zip(numbers, numbers[1:]))


def test_handlers_that_race_keep_the_kernels_order(router):
    """On a busy machine one may take longer than it is waited for: the race is run until the machine is fast enough."""
    router.settle()
    bases = itertools.count(6000, 1000)
    wait_until(lambda: overtaken_in_a_race(router, next(bases)) <= 2, "the kernel's order is kept")


def test_nasctl_waits_until_nobody_else_runs_a_callback(router):
    router.settle()
    hold_lock(router, "worker.lock")
    router.execute("sh", "-c", "(nasctl service disable media; echo $?) >/tmp/disabled 2>&1 </dev/null &")
    wait_until(lambda: router.runs("nasctl"), "nasctl has begun")
    time.sleep(2)  # time enough to be done, did it not wait
    assert router.runs("nasctl")
    let_lock_go(router)
    wait_until(lambda: router.read("/tmp/disabled").endswith("\n0\n"), "nasctl has done it")
