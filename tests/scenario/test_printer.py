"""A USB printer: recognised, shared with the LAN, and closed to the WAN unless that is wished for."""

import socket

import pytest

from conftest import STATE, wait_until

LAN, WAN = "192.168.1.1", "10.20.0.2"
QUEUE = "nalVEX_Printer"


@pytest.fixture(autouse=True)
def as_before(router):
    yield
    router.vr("printer", "out", check=False)
    router.nasctl("printer", "set", "sharing=off", "remote=off")
    wait_until(lambda: not router.runs("cupsd"), "the print server has ended")
    router.nasctl("printer", "set", "sharing=on")
    router.execute("rm", "-rf", "/tmp/printed")


@pytest.fixture
def printer(router):
    router.vr("printer", "in")
    wait_until(lambda: status(router)["queue"] == "ready", "the printer is ready")


def status(router):
    return router.nasctl_json("printer", "status")


def print_text(router, network, address, text):
    (STATE / "share" / "job.txt").write_text(text)
    router.client(network, "lp", "-h", f"{address}:631", "-d", QUEUE, "/share/job.txt")


def printed(router):
    return router.execute("sh", "-c", "cat /tmp/printed/job-* 2>/dev/null", check=False).stdout


def connect(router, network, address):
    with router.network(network):
        socket.create_connection((address, 631), timeout=2).close()


def test_a_job_from_the_lan_is_printed(router, printer):
    assert status(router) == {"server": True, "queue": "ready", "name": QUEUE}
    wait_until(lambda: router.events()[-1]["id"] == "@{83}", "the user is told")

    print_text(router, "lan", LAN, "Dear grandmother\n")

    wait_until(lambda: printed(router) == "Dear grandmother\n", "the job is printed")


def test_the_wan_may_print_only_when_that_is_wished_for(router, printer):
    with pytest.raises(TimeoutError):
        connect(router, "igd", WAN)

    router.nasctl("printer", "set", "remote=on")

    wait_until(lambda: "631" not in router.execute("iptables", "-S", "INPUT").stdout, "the rule is gone")
    print_text(router, "igd", WAN, "from abroad\n")
    wait_until(lambda: printed(router) == "from abroad\n", "the job is printed")


def performed(router):
    """How many requests for the print server were performed."""
    return router.read("/var/log/nas-serviced").count('"cupsd": done')


def test_without_sharing_nothing_is_started(router):
    router.settle()
    before = performed(router)
    router.nasctl("printer", "set", "sharing=off")
    wait_until(lambda: performed(router) == before + 1, "the setting is taken over")

    router.vr("printer", "in")

    wait_until(lambda: performed(router) == before + 2, "the event is handled")
    assert status(router) == {"server": False, "queue": "none", "name": ""}
    router.nasctl("printer", "set", "sharing=on")
    wait_until(lambda: status(router)["queue"] == "ready", "the printer is ready")


def test_a_printer_that_comes_back_keeps_its_queue(router, printer):
    router.vr("printer", "out")
    router.vr("printer", "in")

    print_text(router, "lan", LAN, "once more\n")

    wait_until(lambda: printed(router) == "once more\n", "the job is printed")
