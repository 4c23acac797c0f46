"""The router's services seen from the internet: through the upstream gateway's mapping and the router's own NAT."""

import contextlib
import re
import socket
import time

import pytest

from conftest import image_maker, plugger, wait_until
from ftp_client import Client, file_on_disk
from web_client import fetch

GATEWAY = "11.0.0.1"  # the one address that the internet sees
PORTS = (21, 9000, 2121, 9100)


@pytest.fixture(scope="module")
def exposed(router, tmp_path_factory):
    """A disk and a user."""
    make = image_maker(router, tmp_path_factory.mktemp("exposed"))
    with plugger(router) as plug:
        plug(make("ext4", "Disk1", {"note.txt": b"from home"}), "sda")
        router.add_users("ftp", [("anna", "pass-anna", "rw", "")])
        yield
        router.nasctl("service", "set", "ftp", "port=21", "web-port=9000", "--no-apply")
        router.leave("ftp")


BOTH_PORTS = {21: "ns_kelsto_ftp_21", 9000: "ns_http_9000"}


@pytest.fixture
def running(router, exposed):
    if len(rules(router)) != 2 or mappings(router) != BOTH_PORTS:
        switch_on(router)
    wait_until(lambda: mappings(router) == BOTH_PORTS, "the gateway maps both ports")


def switch_on(router, port=21, web_port=9000):
    router.switch_on("ftp", port=port, web_port=web_port, charset="UTF-8")


def rules(router):
    listing = router.execute("iptables", "-t", "nat", "-S", "router_kelsto").stdout.splitlines()
    return [rule for rule in listing if rule.startswith("-A")]


def mappings(router):
    """The ports that the gateway maps to the router, and the names of the mappings."""
    listing = router.execute("upnpc", "-u", "http://10.20.0.1:5000/rootDesc.xml", "-l").stdout
    return {int(port): name for port, name in re.findall(r"TCP +(\d+)->10\.20\.0\.2:\1 +'([^']*)'", listing)}


def open_ports(router):
    """Which of the ports take a connection from the internet. The gateway drops what it does not map."""
    with router.network("inet"), contextlib.ExitStack() as stack:
        clients = {port: stack.enter_context(socket.socket()) for port in PORTS}
        for port, client in clients.items():
            client.setblocking(False)
            client.connect_ex((GATEWAY, port))
        time.sleep(0.3)
        return {port for port, client in clients.items() if is_connected(client)}


def is_connected(client):
    try:
        client.getpeername()
    except OSError:
        return False
    return True


def test_both_ports_are_open_to_the_internet(router, running):
    wait_until(lambda: open_ports(router) == {21, 9000}, "both ports are open")
    assert fetch(router, "/kelsto.html", network="inet", address=GATEWAY, port=9000) == (200, b"nalVEX_NAS-334456")


def test_files_are_fetched_and_put_from_the_internet(router, running):
    if "--helper ftp" not in router.execute("iptables", "-t", "raw", "-S").stdout:
        pytest.skip("this kernel has no FTP helper: no passive transfer from the internet")
    client = Client(router, "anna", "pass-anna", network="inet", address=GATEWAY)
    client.ftp.trust_server_pasv_ipv4_address = True

    # the destination was changed to the address in the LAN
    assert "192.168.1.1" in client.ftp.getwelcome()
    assert client.get("/Disk1/note.txt") == b"from home"
    client.put("/Disk1/new.txt", b"from abroad")
    assert file_on_disk(router, "/Disk1/new.txt").read_bytes() == b"from abroad"


@pytest.mark.parametrize(("port", "web_port", "mapped"), [(21, 0, 21), (0, 9000, 9000)])
def test_port_0_opens_nothing(router, exposed, port, web_port, mapped):
    switch_on(router, port=port, web_port=web_port)

    wait_until(lambda: mappings(router) == {mapped: BOTH_PORTS[mapped]}, "the gateway maps the one port alone")
    assert [rule for rule in rules(router) if f"--dport {mapped} " in rule] == rules(router) != []
    wait_until(lambda: open_ports(router) == {mapped}, "the one port is open, the other is not")


def test_another_port_takes_the_place_of_the_first(router, running):
    switch_on(router, port=2121)

    other_ports = {2121: "ns_kelsto_ftp_2121", 9000: "ns_http_9000"}
    wait_until(lambda: mappings(router) == other_ports, "the gateway maps the other port, the first no more")
    wait_until(lambda: open_ports(router) == {2121, 9000}, "the other port is open, and the first is not")


def test_without_an_address_in_the_internet_the_chain_is_empty(router, running):
    assert len(rules(router)) == 2

    router.execute("ip", "address", "del", "10.20.0.2/24", "dev", "wan1")
    try:
        router.nasctl("service", "start", "ftp")
        assert rules(router) == []
        assert Client(router, "anna", "pass-anna").get("/Disk1/note.txt") == b"from home"
    finally:
        router.execute("ip", "address", "add", "10.20.0.2/24", "broadcast", "+", "dev", "wan1")
        router.execute("ip", "route", "add", "default", "via", "10.20.0.1")

    switch_on(router)
    assert len(rules(router)) == 2
    wait_until(lambda: open_ports(router) == {21, 9000}, "both ports are open again")


def test_switched_off_both_ports_are_closed(router, running):
    wait_until(lambda: open_ports(router) == {21, 9000}, "both ports are open")

    router.switch_off("ftp")

    wait_until(lambda: mappings(router) == {}, "the gateway maps nothing")
    assert rules(router) == []
    assert open_ports(router) == set()
