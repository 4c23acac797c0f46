"""Torrents through the watch folder, from a real swarm in the LAN, and the daemon's remote control."""

import random

import pytest

from conftest import PATIENCE, run, wait_until
from torrent_swarm import remote, seeder, tracker

ROUTER = "192.168.1.1"
GATEWAY = "11.0.0.1"
PORT = 9091
DROPPED = 5  # seconds for an answer: the gateway drops what it does not map
USER, PASSWORD = "anna", "pass-anna{}#;&()"
FOLDER = "Mum's Größe 영화"
SETTINGS = f"/tmp/mnt/Disk1/{FOLDER}/.session/settings.json"


@pytest.fixture
def disk(router, make_image, plugged):
    plugged(make_image("ext4", "Disk1", {"note.txt": b"hello"}), "sda")
    router.add_users("torrent", [(USER, PASSWORD, "rw", "")])
    router.nasctl("service", "set", "torrent", "disk=Disk1", f"folder={FOLDER}", f"port={PORT}", "--no-apply")
    yield
    router.leave("torrent")


def status_code(router, network, host, login=None, seconds=PATIENCE):
    options = ["-s", "-m", seconds, "-o", "/dev/null", "-w", "%{http_code}"] + (["--user", login] if login else [])
    return router.client(network, "curl", *options, f"http://{host}:{PORT}/transmission/rpc", check=False).stdout


def test_a_torrent_put_into_the_watch_folder_arrives(router, disk, tmp_path):
    content = random.Random(1).randbytes(3_000_000)
    router.switch_on("torrent")
    folder = router.path(f"/tmp/mnt/Disk1/{FOLDER}")
    with tracker(router), seeder(router, "film.bin", content) as torrent:
        (folder / "film.torrent").write_bytes(torrent)
        film = folder / "film.bin"
        wait_until(lambda: film.exists() and film.read_bytes() == content, "the whole file is there")
    wait_until(lambda: "100%" in remote(router, ROUTER, PORT, "-l", user=f"{USER}:{PASSWORD}").stdout, "it is told")


def test_only_the_user_is_let_in(router, disk):
    router.switch_on("torrent")

    wait_until(lambda: status_code(router, "lan", ROUTER) == "401", "it answers")
    assert status_code(router, "lan", ROUTER, f"{USER}:{PASSWORD}") == "409"  # let in, asked for a session's number
    assert status_code(router, "lan", ROUTER, f"{USER}:wrong") == "401"
    assert status_code(router, "lan", ROUTER, f"bert:{PASSWORD}") == "401"
    assert remote(router, ROUTER, PORT, "-l").returncode != 0


def test_its_port_is_open_to_the_internet_as_long_as_it_is_on(router, disk):
    router.switch_on("torrent")
    login = f"{USER}:{PASSWORD}"
    wait_until(lambda: status_code(router, "inet", GATEWAY, login, DROPPED) == "409", "the internet gets in")
    assert status_code(router, "inet", GATEWAY) == "401"

    router.switch_off("torrent")

    assert not router.runs("transmission-daemon")
    wait_until(lambda: "9091" not in router.nasctl("upnp").stdout, "the gateway maps nothing")
    assert status_code(router, "inet", GATEWAY, seconds=DROPPED) == "000"
    assert [event["detail"] for event in router.events()[-2:]] == ["@{103}", "@{103}"]
    assert [event["id"] for event in router.events()[-2:]] == ["@{106}", "@{107}"]


def test_a_damaged_settings_file_is_repaired_once(router, disk):
    router.switch_on("torrent")
    router.switch_off("torrent")
    router.path(SETTINGS).write_text("{ no settings")

    done = router.nasctl("service", "enable", "torrent")

    assert done.stderr.count("Torrent is dead now") == 1
    assert router.runs("transmission-daemon")
    wait_until(lambda: status_code(router, "lan", ROUTER, f"{USER}:{PASSWORD}") == "409", "it lets the user in")
    done = router.nasctl("service", "start", "torrent")
    assert "Torrent is dead now" not in done.stderr


def test_a_folder_that_leads_out_of_the_disk_is_refused(router, disk):
    router.execute("ln", "-s", "/etc", "/tmp/mnt/Disk1/link")
    router.nasctl("service", "set", "torrent", "folder=link/cups", "--no-apply")
    before = run(["stat", "-c", "%a", router.path("/etc/cups")]).stdout

    refused = router.nasctl("service", "enable", "torrent", check=False)

    assert refused.returncode == 1
    assert "is no folder of the disk" in refused.stderr
    assert run(["stat", "-c", "%a", router.path("/etc/cups")]).stdout == before
