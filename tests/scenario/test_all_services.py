"""Everything at once: the eight services on one disk, and the disk pulled out."""

import pytest

import all_services
from all_services import SERVICES
from conftest import wait_until

DAEMONS = ["proftpd", "smbd", "nmbd", "lighttpd", "rsync", "nalvexcloud", "transmission-daemon", "minidlna", "telnetd"]
NEED_DISK = ["rsync", "nalvexcloud", "transmission-daemon", "minidlna", "telnetd"]


@pytest.fixture
def image(router, make_image):
    yield make_image("ext4", "Disk1", all_services.FILES, size="192M")
    all_services.leave(router)


def states(router):
    return {state["name"]: state for state in router.nasctl_json("service", "list")}


def all_run(router):
    return all(state["running"] >= state["needed"] for state in states(router).values())


def open_chains(router):
    """The services' chains that let something in."""
    rules = [line.split() for line in router.execute("iptables", "-t", "nat", "-S").stdout.splitlines()]
    return {words[1] for words in rules if words[0] == "-A" and words[1].startswith("router_")}


@pytest.mark.usefixtures("no_disk_stays")
def test_all_services_run_together_and_the_disk_takes_them_down(router, image):
    router.plug(image, "sda")
    router.settle()
    all_services.set_up(router)
    router.all_of_nasctl(["service", "enable", service] for service in SERVICES)

    assert list(states(router)) == SERVICES
    wait_until(lambda: all_run(router), "every service runs")
    assert {daemon for daemon in DAEMONS if not router.runs(daemon)} == set()

    assert {"router_rsync", "router_nalvexcloud", "router_torrent"} < open_chains(router)

    router.unplug("sda")

    assert {daemon for daemon in NEED_DISK if router.runs(daemon)} == set()
    assert "/tmp/mnt" not in router.read("/proc/mounts")
    assert router.execute("ls", "/tmp/mnt").stdout == ""
    assert router.execute("test", "-e", "/tmp/cur", check=False).returncode == 1
    assert "--dport 23 " not in router.execute("iptables", "-S", "INPUT").stdout
    wait_until(lambda: open_chains(router) <= {"router_kelsto", "router_url"}, "their ports are closed")
    wait_until(lambda: states(router)["samba"]["running"] >= 2, "what needs no disk runs again")
    assert {daemon for daemon in NEED_DISK if router.runs(daemon)} == set()

    router.plug(image, "sda")
    wait_until(lambda: all_run(router), "every service runs again")
    router.unplug("sda")
