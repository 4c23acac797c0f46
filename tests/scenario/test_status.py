"""What `nasctl status`, `events --follow` and `doctor` say of a router that is at work."""

import json
import socket
import subprocess
import time

import pytest

from conftest import PATIENCE, STATE, VR, wait_until, whole_lines

LAN_CLIENT = "192.168.1.10"


@pytest.fixture
def at_work(router, make_image, plugged):
    """A disk, FTP switched on, and the media server on a disk that is not there."""
    plugged(make_image("ext4", "Disk1", {"note.txt": b"note"}), "sda")
    router.nasctl("service", "set", "media", "disk=Disk9", "folder=Films", "--force", "--no-apply")
    router.nasctl("service", "enable", "media", "--no-apply")
    router.switch_on("ftp", port=21, web_port=0)
    yield
    router.nasctl("service", "disable", "media", "--no-apply")
    router.leave("ftp")


def services(router):
    return {service["name"]: service for service in router.nasctl_json("status")["services"]}


def test_status_shows_services_disks_and_devices(router, at_work):
    wait_until(lambda: services(router)["ftp"]["internet"] == "mapped", "the gateway maps the port")
    status = router.nasctl_json("status")
    ftp, media = services(router)["ftp"], services(router)["media"]

    assert (ftp["enabled"], ftp["running"] >= ftp["needed"], ftp["ports"]) == (True, True, [21])
    assert abs(time.time() - ftp["since"]) < 120
    assert ftp["clients"] == []
    assert (media["disk"], media["disk_mounted"], media["running"], media["since"]) == ("Disk9", False, 0, None)
    (volume,) = status["volumes"]
    assert volume["volume"] == "Disk1"
    assert 0 < volume["used"] < volume["total"]
    assert volume["free"] > 0
    assert [(device["kind"], device["device"]) for device in status["usb"]] == [("disk", "sda")]

    screen = router.nasctl("status").stdout
    assert "Disk9 (absent)" in screen
    assert all(len(line) <= 120 for line in screen.splitlines())


def test_status_counts_who_is_connected(router, at_work):
    with router.network("lan"):
        client = socket.create_connection(("192.168.1.1", 21), 10)
    with client:
        client.recv(100)
        assert services(router)["ftp"]["clients"] == [LAN_CLIENT]
    wait_until(lambda: services(router)["ftp"]["clients"] == [], "the client is gone")


def test_events_are_followed(router, at_work, tmp_path):
    """Who sees the last event of before sees all that come after it."""

    def seen():
        return [(event["id"], event["detail"]) for event in map(json.loads, whole_lines(tmp_path / "events"))]

    words = [VR, "--state", STATE, "exec", "nasctl", "--json", "events", "--follow", "-n", "1"]
    with (tmp_path / "events").open("w") as output:
        follower = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=output)
        try:
            wait_until(lambda: seen() == [("@{106}", "@{98}")], "the last event is shown")
            router.switch_off("ftp")
            wait_until(lambda: seen()[-1] == ("@{107}", "@{98}"), "the next ones are shown as well")
        finally:
            router.execute("killall", "nasctl")
            follower.wait(PATIENCE)


def test_the_installed_host_is_right(router):
    before = router.nasctl("--json", "config", "list").stdout
    report = router.nasctl_json("doctor")

    assert {finding["verdict"] for finding in report["findings"]} == {"right"}
    assert len(report["findings"]) > 40
    assert router.nasctl("--json", "config", "list").stdout == before


def test_without_root_the_doctor_checks_what_changes_nothing(router):
    done = router.execute("/usr/bin/setpriv", "--reuid", "nobody", "--clear-groups", "nasctl", "--json", "doctor")

    verdicts = [finding["verdict"] for finding in json.loads(done.stdout)["findings"]]
    assert set(verdicts) == {"right", "not checked"}
    assert verdicts.count("right") > 15
