"""Disks with several partitions, with none, and what the kernel tells of them."""

import pytest

from disks import LOG, event_ids, folders, forget_events, handled_events, modules, mounts

pytestmark = pytest.mark.usefixtures("no_disk_stays")

EVENTS = ("@{126}", "@{127}", "@{128}", "@{129}")


@pytest.fixture
def seen(router):
    """What the kernel and the library told since the test began: its events, and the user's."""
    router.settle()
    router.execute("sh", "-c", f": > {LOG}")
    forget_events(router)

    def seen():
        router.settle()
        return handled_events(router), [event for event in event_ids(router) if event in EVENTS]

    return seen


def test_two_partitions_come_and_go_as_one_disk(router, make_disk, seen):
    image = make_disk("two", [("ext4", "Films", {}), ("ntfs", "Photos", {})])
    assert router.plug(image, "sda") == ["sda", "/tmp/mnt/Films", "/tmp/mnt/Photos"]
    assert mounts(router) == {"/dev/sda1": "/tmp/mnt/Films", "/dev/sda2": "/tmp/mnt/Photos"}
    assert seen() == (["add sda", "add sda1", "add sda2"], ["@{126}", "@{127}"])

    router.unplug("sda")

    assert mounts(router) == {} and folders(router) == [] and modules(router) == ["tntfs"]
    events, told = seen()
    assert events[3:] == ["remove sda1", "remove sda2", "remove sda"]
    assert told[2:] == ["@{129}", "@{128}"]  # once, with the last volume


def test_a_disk_without_partitions_is_a_volume(router, make_disk, seen):
    image = make_disk("whole", [("ext4", "Whole", {})], "--no-table")
    assert router.plug(image, "sdb") == ["sdb", "/tmp/mnt/Whole"]
    assert mounts(router) == {"/dev/sdb": "/tmp/mnt/Whole"}
    router.unplug("sdb")
    assert mounts(router) == {} and folders(router) == [] and modules(router) == ["tntfs"]
    assert seen() == (["add sdb", "remove sdb"], ["@{126}", "@{127}", "@{129}", "@{128}"])


def test_the_kernel_tells_what_it_tells_of_real_disks(router, make_disk):
    image = make_disk("three", [("ext4", f"Part{number}", {}) for number in (1, 2, 3)])
    router.plug(image, "sdb")
    rows = [line.split() for line in router.read("/proc/partitions").splitlines()[2:]]
    assert [row[3] for row in rows] == ["sdb", "sdb1", "sdb2", "sdb3"]
    assert [row[:2] for row in rows] == [["8", "16"], ["8", "17"], ["8", "18"], ["8", "19"]]
    assert int(rows[0][2]) == 1024 + sum(int(row[2]) for row in rows[1:])
    assert router.read("/sys/block/sdb/sdb2/size") == "8192\n"
    router.unplug("sdb")
    assert router.read("/proc/partitions").split() == ["major", "minor", "#blocks", "name"]


def test_a_partition_that_is_no_file_system_stays_out(router, make_disk):
    image = make_disk("half", [("ext4", "Good", {}), ("ext4", "Bad", {})])
    with image.open("r+b") as disk:
        disk.seek(5 << 20)  # behind the table and the first partition
        disk.write(bytes(1 << 20))
    plugged = router.vr("plug", image, "--disk", "sda")
    assert plugged.stdout == "sda /tmp/mnt/Good\n"
    assert "not every volume of sda is mounted" in plugged.stderr
    assert "sda2 is not mounted: no file system is found on it" in router.read(LOG)
    router.unplug("sda")
    assert folders(router) == []


def test_a_vfat_stick(router, make_disk):
    if "vfat" not in [line.split()[-1] for line in open("/proc/filesystems", encoding="ascii")]:
        pytest.skip("this kernel has no vfat driver, and no driver in user space stands in for it")
    image = make_disk("stick", [("vfat", "STICK", {"note.txt": b"hello"})])
    router.plug(image, "sda")
    assert router.read("/mnt/STICK/note.txt") == "hello"
    router.unplug("sda")
    assert folders(router) == []


@pytest.mark.parametrize(
    ("arguments", "message"),
    [
        (["--label", "Disk1", "--fs", "ext4"], "--label stands behind the --fs that it belongs to"),
        (["--no-table", "--fs", "ext4", "--fs", "ext4"], "without a partition table there is one file system"),
        (["--fs", "ext4"] * 5, "room for four"),
        (["--fs", "xfs"], "--fs is ext4, exfat, ntfs or vfat"),
        ([], "which file system"),
    ],
)
def test_an_image_that_cannot_be(router, tmp_path, arguments, message):
    refused = router.vr("image", tmp_path / "disk.img", *arguments, check=False)
    assert refused.returncode == 2
    assert message in refused.stderr
    assert list(tmp_path.iterdir()) == []
