"""The media server on real disks, seen from the LAN."""

import pytest

from conftest import ROOT, plugger, wait_until

FILM = (ROOT / "router" / "demo" / "test-pattern.mp4").read_bytes()
TITLE = "Test Pattern"  # the film's own, which is shown rather than the file's name
UNTITLED_FILM = FILM.replace(b"\xa9nam", b"free")  # the name of the field that holds the title


@pytest.fixture
def media_off(router):
    yield
    router.nasctl("service", "disable", "media")


def switch_on(router, name, folder):
    router.nasctl("service", "set", "media", f"name={name}", "disk=Disk1", f"folder={folder}", "--no-apply")
    router.nasctl("service", "enable", "media")


def titles(router):
    return router.list_media(timeout=1, check=False).stdout


@pytest.mark.parametrize("filesystem", ["ext4", "exfat", "ntfs"])
def test_a_film_is_listed_and_fetched_from_the_lan(router, make_image, plugged, media_off, filesystem, tmp_path):
    plugged(make_image(filesystem, "Disk1", {"Movies/Holiday.mp4": FILM}), "sda")
    switch_on(router, "Living room", "Movies")

    wait_until(lambda: TITLE in titles(router), "the film is listed")
    fetched = tmp_path / "fetched.mp4"
    router.list_media("--fetch", TITLE, fetched)
    assert fetched.read_bytes() == FILM


def test_names_with_blanks_and_other_alphabets_work(router, make_image, plugged, media_off):
    plugged(make_image("ext4", "Disk1", {"Größe 영화/Über 한글.mp4": UNTITLED_FILM}), "sda")
    switch_on(router, "Küche 부엌", "Größe 영화")

    wait_until(lambda: "Über 한글" in titles(router), "the film is listed")
    assert "friendly_name=Küche 부엌\n" in router.read("/etc/minidlna.conf")


def test_switched_off_it_is_gone_and_the_user_is_told(router, make_image, plugged):
    plugged(make_image("ext4", "Disk1", {"Movies/Holiday.mp4": FILM}), "sda")
    switch_on(router, "Living room", "Movies")
    assert router.runs("minidlna")
    started = router.events()[-1]

    router.nasctl("service", "disable", "media")

    assert not router.runs("minidlna")
    stopped = router.events()[-1]
    assert (started["id"], stopped["id"]) == ("@{106}", "@{107}")
    assert started["detail"] == stopped["detail"] == "@{100}"
    assert router.list_media(timeout=1, check=False).returncode != 0


def test_without_its_disk_it_does_not_start(router, make_image, media_off):
    with plugger(router) as plug:
        plug(make_image("ext4", "Disk1", {"Movies/Holiday.mp4": FILM}), "sda")
        router.nasctl("service", "set", "media", "name=Film", "disk=Disk1", "folder=Movies", "--no-apply")

    refused = router.nasctl("service", "enable", "media", check=False)

    assert refused.returncode == 1
    assert "Disk1" in refused.stderr
    assert not router.runs("minidlna")
