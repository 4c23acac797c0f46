"""The package environment: installed from the internet's package server, entered by telnet from the LAN alone."""

import socket

import pytest

from conftest import wait_until
from telnet_client import Telnet

LAN, WAN = "192.168.1.1", "10.20.0.2"
TELNET_RULE = "-A INPUT ! -i br-lan -p tcp -m tcp --dport 23 -j DROP"


@pytest.fixture
def disk(router, make_image, plugged):
    plugged(make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="128M"), "sda")
    router.nasctl("service", "set", "entware", "disk=Disk1", "folder=my packages", "--no-apply")
    yield
    router.leave("ftp")
    if router.nasctl_json("service", "show", "entware")["enabled"]:
        router.switch_off("entware")


def state(router):
    return router.nasctl_json("service", "show", "entware")["state"]


def rules(router):
    return router.execute("iptables", "-S", "INPUT").stdout.splitlines()


def connect(router, network, address):
    with router.network(network):
        socket.create_connection((address, 23), timeout=2).close()


def test_it_is_installed_and_kept(router, disk):
    assert state(router) == "not installed"

    done = router.nasctl("service", "enable", "entware")

    assert done.stdout == "entware: switched on, 1 of 1 running\n"
    assert "entware: the package manager is being installed\n" in done.stderr
    assert state(router) == "installed"
    assert router.execute("readlink", "/tmp/cur").stdout == "/tmp/mnt/Disk1/my packages\n"
    assert router.execute("chroot", "/tmp/cur", "/opt/bin/opkg").stdout == "opkg version 0\n"
    assert "/my\\040packages/proc " in router.read("/proc/mounts")
    assert router.read("/tmp/cur/etc/resolv.conf") == router.read("/etc/resolv.conf")

    router.nasctl("service", "disable", "entware")
    assert not router.runs("telnetd")
    done = router.nasctl("service", "enable", "entware")
    assert "being installed" not in done.stderr
    assert router.runs("telnetd")


def test_a_user_logs_in_from_the_lan_and_nobody_from_the_wan(router, disk):
    router.add_users("ftp", [("anna", "pass-anna", "rw", "")])
    router.switch_on("entware")

    with Telnet(router, "lan", LAN) as telnet:
        telnet.log_in(b"anna", b"pass-anna")
        telnet.wait_for(b"$ ")
        telnet.enter(b"echo I am $(whoami), $((6 * 7))")
        telnet.wait_for(b"I am anna, 42")
    with Telnet(router, "lan", LAN) as telnet:
        telnet.log_in(b"anna", b"wrong")
        telnet.wait_for(b"Login incorrect")
    assert TELNET_RULE in rules(router)
    with pytest.raises(TimeoutError):
        connect(router, "igd", WAN)

    router.switch_off("entware")

    assert TELNET_RULE not in rules(router)
    for network, address in (("lan", LAN), ("igd", WAN)):
        with pytest.raises(ConnectionRefusedError):
            connect(router, network, address)


def test_without_the_package_server_it_fails_and_says_so(router, disk):
    router.vr("cable", "out")
    try:
        refused = router.nasctl("service", "enable", "entware", check=False)
    finally:
        router.vr("cable", "in")

    assert refused.returncode == 1
    assert "entware: it does not run: its installation failed" in refused.stderr
    assert state(router) == "failed"
    assert not router.runs("telnetd")

    router.nasctl("service", "start", "entware")
    assert state(router) == "installed"


@pytest.mark.usefixtures("no_disk_stays")
def test_a_disk_that_comes_back_brings_it_along(router, make_image):
    image = make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="128M")
    router.plug(image, "sda")
    router.nasctl("service", "set", "entware", "disk=Disk1", "folder=packages", "--no-apply")
    router.nasctl("service", "enable", "entware", "--no-apply")
    try:
        router.unplug("sda")
        router.plug(image, "sda")  # nobody has to ask for the installation
        wait_until(lambda: state(router) == "installed" and router.runs("telnetd"), "it is installed")

        router.unplug("sda")
        assert not router.runs("telnetd")
        assert TELNET_RULE not in rules(router)
        assert "/tmp/mnt" not in router.read("/proc/mounts")
        assert router.execute("test", "-e", "/tmp/cur", check=False).returncode == 1
    finally:
        router.nasctl("service", "disable", "entware")
