"""Disks that are pulled out while they are read, and come back."""

import contextlib
import ftplib
import os
import subprocess
import threading

import pytest

import ftp_client
import samba_client
from conftest import PATIENCE, STATE, VR, wait_until
from disks import event_ids, folders, forget_events, mounts, run_all_services, switch_records

pytestmark = pytest.mark.usefixtures("no_disk_stays")

FILM = os.urandom(40 << 20)
RECORDS = {"ftp_conf": "1,21,9000,UTF-8,0,1", "samba_conf": "1,ROUTER,HOME,0,0,1,1"}


@pytest.fixture(scope="module")
def services(router):
    """FTP and Samba with a user, before any disk is there."""
    for service in RECORDS:
        router.add_users(service.removesuffix("_conf"), [("anna", "pass-anna", "rw", "")])
    switch_records(router, RECORDS)
    run_all_services(router)
    yield
    switch_records(router, {key: "0" + value[1:] for key, value in RECORDS.items()})
    for service in RECORDS:
        router.remove_users(service.removesuffix("_conf"))
    run_all_services(router)


def ftp(router):
    return ftp_client.Client(router, "anna", "pass-anna")


def samba(router):
    return samba_client.Client(router, "anna", "pass-anna")


def content_by_ftp(router, disk, name):
    with contextlib.suppress(*ftplib.all_errors):
        return ftp(router).get(f"/{disk}/{name}")
    return None


def content_by_samba(router, share, name):
    fetched = samba_client.SHARED / "fetched"
    fetched.unlink(missing_ok=True)
    samba(router).run(share, f"get {name} /share/fetched")
    return fetched.read_bytes() if fetched.exists() else None


def wait_until_served(router, disk, name, content):
    """By both services, for both are started anew whenever a disk comes or goes."""
    router.settle()
    wait_until(lambda: content_by_ftp(router, disk, name) == content, "FTP has the file")
    wait_until(lambda: content_by_samba(router, disk, name) == content, "Samba has the file")


class Download(threading.Thread):
    """A transfer that takes longer than the disk stays. `fetch` is given what to call with every piece."""

    def __init__(self, fetch):
        super().__init__(daemon=True)
        self.fetch = fetch
        self.size = 0
        self.problem = None
        self.hurries = threading.Event()

    def take(self, piece):
        self.size += len(piece)
        self.hurries.wait(0.1)

    def run(self):
        try:
            self.fetch(self.take)
        except (*ftplib.all_errors, subprocess.SubprocessError) as error:
            self.problem = error


def ftp_download(router):
    client = ftp_client.connect(router, "anna", "pass-anna")

    def fetch(take):
        with router.network("lan"):
            client.retrbinary("RETR /Disk1/film.mp4", take, blocksize=16384)

    return Download(fetch)


def samba_download(router):
    """smbclient writes into a pipe that is read slowly; it ends with an error when the file is not whole."""
    words = [VR, "--state", STATE, "cli", "lan", "smbclient", f"//{samba_client.ADDRESS}/Disk1"]
    words += [*samba(router).options, "-c", "get film.mp4 -"]

    def fetch(take):
        null = subprocess.DEVNULL
        with subprocess.Popen(words, stdin=null, stdout=subprocess.PIPE, stderr=null) as client:
            while piece := client.stdout.read1(16384):
                take(piece)
        if client.returncode != 0:
            raise subprocess.CalledProcessError(client.returncode, words)

    return Download(fetch)


def test_transfers_end_when_the_disk_is_pulled_out(router, services, make_image):
    image = make_image("ext4", "Disk1", {"film.mp4": FILM, "note.txt": b"hello"})
    router.plug(image, "sda")
    wait_until_served(router, "Disk1", "note.txt", b"hello")
    daemons = router.processes("proftpd") | router.processes("smbd")
    transfers = [ftp_download(router), samba_download(router)]
    for transfer in transfers:
        transfer.start()
    wait_until(lambda: all(transfer.size > 1 << 18 for transfer in transfers), "both transfers run")
    forget_events(router)

    router.unplug("sda")

    assert mounts(router) == {} and folders(router) == []
    assert daemons & (router.processes("proftpd") | router.processes("smbd")) == set()
    assert [event for event in event_ids(router) if event in ("@{128}", "@{129}")] == ["@{129}", "@{128}"]
    for transfer in transfers:
        transfer.hurries.set()
        transfer.join(PATIENCE)
        assert not transfer.is_alive()
        assert transfer.problem is not None and transfer.size < len(FILM)

    router.settle()
    assert router.plug(image, "sda") == ["sda", "/tmp/mnt/Disk1"]
    wait_until_served(router, "Disk1", "film.mp4", FILM)
    router.unplug("sda")


def test_of_two_disks_one_goes_and_the_other_stays(router, services, make_image):
    first = make_image("ext4", "Disk1", {"note.txt": b"first"}, size="4M")
    second = make_image("ext4", "Disk2", {"note.txt": b"second"}, size="4M")
    router.plug(first, "sda")
    router.plug(second, "sdb")
    wait_until_served(router, "Disk1", "note.txt", b"first")
    wait_until_served(router, "Disk2", "note.txt", b"second")

    router.unplug("sda")

    assert mounts(router) == {"/dev/sdb1": "/tmp/mnt/Disk2"} and folders(router) == ["Disk2"]
    wait_until_served(router, "Disk2", "note.txt", b"second")
    with pytest.raises(ftplib.error_perm):
        ftp(router).get("/Disk1/note.txt")
    assert "Disk1" not in samba(router).shares()
    router.plug(first, "sda")
    wait_until_served(router, "Disk1", "note.txt", b"first")
    router.unplug("sdb")
    router.unplug("sda")
    assert mounts(router) == {} and folders(router) == []


def test_every_partition_is_served(router, services, make_disk):
    image = make_disk("two", [("ext4", "Films", {"note.txt": b"films"}), ("exfat", "Photos", {"note.txt": b"photos"})])
    assert router.plug(image, "sda") == ["sda", "/tmp/mnt/Films", "/tmp/mnt/Photos"]
    wait_until_served(router, "Films", "note.txt", b"films")
    wait_until_served(router, "Photos", "note.txt", b"photos")
    router.unplug("sda")
    assert mounts(router) == {} and folders(router) == []


def test_a_disk_without_partitions_is_served(router, services, make_disk):
    image = make_disk("whole", [("ext4", "Whole", {"note.txt": b"whole"})], "--no-table")
    assert router.plug(image, "sda") == ["sda", "/tmp/mnt/Whole"]
    assert mounts(router) == {"/dev/sda": "/tmp/mnt/Whole"}
    wait_until_served(router, "Whole", "note.txt", b"whole")
    router.unplug("sda")
    assert mounts(router) == {} and folders(router) == []
