"""Disks that a user of the router plugs in with nasctl: the same as from outside."""

import json
import shutil

import pytest

from conftest import STATE, replace
from disks import folders, mounts

pytestmark = pytest.mark.usefixtures("no_disk_stays")


@pytest.fixture
def image(router, make_image):
    """A disk image that the router sees."""
    image = STATE / "share" / "Disk1.img"
    shutil.copy(make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M"), image)
    yield "/share/Disk1.img"
    image.unlink()


def test_a_disk_comes_and_goes(router, image):
    assert router.nasctl("plug", image).stdout == "sda /tmp/mnt/Disk1\n"
    assert router.read("/mnt/Disk1/note.txt") == "hello"
    assert "sda /tmp/mnt/Disk1, /share/Disk1.img\n" in router.vr("status").stdout
    assert router.nasctl("unplug", "sda").stdout == ""
    assert mounts(router) == {} and folders(router) == []


def test_the_disk_and_its_folder_can_be_chosen(router, image):
    plugged = router.nasctl_json("plug", image, "--disk", "sdc", "--folder", "Films")
    assert plugged == {"disk": "sdc", "mount_points": ["/tmp/mnt/Films"]}
    assert router.nasctl_json("unplug", "sdc") == {"disk": "sdc"}
    router.nasctl("plug", image)  # a volume finds its folder again
    assert mounts(router) == {"/dev/sda1": "/tmp/mnt/Films"}
    router.nasctl("unplug", "/dev/sda")
    router.execute("sed", "-i", "/Films/d", "/etc/nas/volumes")


def test_inside_and_outside_are_one(router, image):
    router.nasctl("plug", image)
    twice = router.vr("plug", STATE / "share" / "Disk1.img", check=False)
    assert twice.returncode == 1 and "is in use already" in twice.stderr
    router.unplug("sda")
    assert router.plug(STATE / "share" / "Disk1.img", "sda") == ["sda", "/tmp/mnt/Disk1"]
    twice = router.nasctl("plug", image, check=False)
    assert (twice.returncode, twice.stderr) == (1, "nasctl: /share/Disk1.img is in use already\n")
    router.nasctl("unplug", "sda")


@pytest.mark.parametrize(
    ("arguments", "status", "message"),
    [
        (["plug", "/share/none.img"], 1, "no such image: /share/none.img"),
        (["plug", "/share/Disk1.img", "--disk", "hda"], 2, "a disk is called sda to sdp, not 'hda'"),
        (["plug", "/share/Disk1.img", "--folder", "../x"], 2, "a folder is made of"),
        (["plug"], 2, "IMAGE is required"),
        (["unplug", "sdd"], 1, "no such disk: sdd"),
        (["unplug", "hda"], 2, "a disk is called sda to sdp, not 'hda'"),
    ],
)
def test_what_cannot_be_is_refused(router, image, arguments, status, message):
    refused = router.nasctl(*arguments, check=False)
    assert refused.returncode == status
    assert message in refused.stderr
    assert mounts(router) == {}


def test_an_error_is_json_too(router):
    refused = router.nasctl("--json", "unplug", "sda", check=False)
    assert refused.returncode == 1
    assert json.loads(refused.stdout + refused.stderr)["error"] == "no such disk: sda"


def test_a_device_with_real_ports_says_so(router):
    settings = router.path("/etc/nas-host.conf")
    original = settings.read_text()
    replace(settings, original.replace("usb_port_program = /sbin/usbport\n", ""))
    try:
        refused = router.nasctl("plug", "/share/Disk1.img", check=False)
    finally:
        replace(settings, original)
    assert refused.returncode == 1
    assert "the USB ports of this device are real ones" in refused.stderr
    router.settle()
