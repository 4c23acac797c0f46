"""A phone takes the WAN over while the cable is out, and gives it back."""

import contextlib
import socket
import threading

import pytest

from conftest import wait_until

INTERNET = "11.0.0.2"
PORT = 7777
GATEWAY, PHONE = "11.0.0.1", "11.0.1.2"  # whom the internet sees


@pytest.fixture(autouse=True)
def as_before(router):
    router.nasctl("tethering", "set", "on")
    yield
    router.nasctl("tethering", "set", "off")
    router.vr("cable", "in")
    router.vr("phone", "out", check=False)
    wait_until(lambda: not router.runs("usbdhclient"), "the phone's client has ended")


@pytest.fixture
def mirror(router):
    """A host in the internet that tells whoever connects which address it sees."""
    with router.network("inet"):
        server = socket.create_server((INTERNET, PORT))

    def serve():
        with contextlib.suppress(OSError):
            while True:
                client, address = server.accept()
                with client:
                    client.send(address[0].encode())

    thread = threading.Thread(target=serve)
    thread.start()
    yield
    server.shutdown(socket.SHUT_RDWR)
    thread.join()
    server.close()


def seen_address(router):
    """As whom the internet sees a PC in the LAN; nothing when the internet is not reached."""
    with contextlib.suppress(OSError):
        with router.network("lan"):
            client = socket.create_connection((INTERNET, PORT), timeout=1)
        with client:
            return client.recv(100).decode()
    return None


def default_route(router):
    routes = router.execute("ip", "route").stdout.splitlines()
    return [route.strip() for route in routes if route.startswith("default")]


def test_the_wan_moves_to_the_phone_and_back(router, mirror):
    wait_until(lambda: seen_address(router) == GATEWAY, "the internet is reached through the cable")
    router.vr("phone", "in")
    wait_until(lambda: router.events()[-1]["id"] == "@{125}", "the user is told of the phone")
    assert not router.runs("usbdhclient")  # the cable has priority

    router.vr("cable", "out")
    wait_until(lambda: seen_address(router) == PHONE, "the internet is reached through the phone")
    assert default_route(router) == ["default via 192.168.42.129 dev lte0"]
    status = router.nasctl_json("tethering", "status")
    assert status.pop("address").startswith("192.168.42.")
    assert status == {"enabled": True, "phone": True, "cable": False, "wanted": True, "carries_wan": True}

    router.vr("cable", "in")
    wait_until(lambda: seen_address(router) == GATEWAY, "the internet is reached through the cable")
    router.settle()
    assert default_route(router) == ["default via 10.20.0.1 dev wan1"]
    assert router.read("/etc/resolv.conf") == "nameserver 11.0.0.2\n"
    assert router.read("/var/run/nas/dhcp-options") == "option:dns-server,11.0.0.2\n"
    assert not router.nasctl_json("tethering", "status")["carries_wan"]


def test_a_phone_that_is_pulled_out_gives_the_wan_back(router, mirror):
    router.vr("cable", "out")
    router.vr("phone", "in")
    wait_until(lambda: seen_address(router) == PHONE, "the internet is reached through the phone")

    router.vr("phone", "out")

    wait_until(lambda: router.events()[-1]["id"] == "@{124}", "the user is told that the phone is gone")
    wait_until(lambda: not router.runs("usbdhclient"), "the phone's client has ended")
    wait_until(lambda: default_route(router) == ["default via 10.20.0.1 dev wan1"], "the route is the cable's")
    assert seen_address(router) is None
    router.vr("cable", "in")
    wait_until(lambda: seen_address(router) == GATEWAY, "the internet is reached through the cable")


def test_switched_off_the_phone_is_left_alone(router, mirror):
    router.vr("cable", "out")
    router.vr("phone", "in")
    wait_until(lambda: seen_address(router) == PHONE, "the internet is reached through the phone")

    router.nasctl("tethering", "set", "off")

    wait_until(lambda: not router.runs("usbdhclient"), "the phone's client has ended")
    assert seen_address(router) is None
    router.settle()
    assert "tethering" not in router.read("/var/run/nas/schedule")
    router.nasctl("tethering", "set", "on")
    wait_until(lambda: seen_address(router) == PHONE, "the internet is reached through the phone")
