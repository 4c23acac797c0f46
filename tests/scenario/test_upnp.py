"""The UPnP agent and the upstream gateway: what a service opens is mapped there, and stays so."""

import contextlib
import socket

import pytest

from conftest import wait_until

GATEWAY = "11.0.0.1"  # the one address that the internet sees
FTP_PORTS = {21: "10.20.0.2:21", 9000: "10.20.0.2:9000"}


@pytest.fixture(autouse=True)
def services_off(router):
    yield
    router.leave("ftp")
    wait_until(lambda: forwarded(router) == 0, "the gateway maps nothing any more")


@pytest.fixture
def renewing(router, add_settings):
    """An agent that renews every two seconds instead of every five minutes."""
    add_settings("upnp_renew = 2\n")
    restart_agent(router)
    yield
    add_settings("")
    restart_agent(router)


@pytest.fixture
def no_gateway(router):
    stop_gateway(router)
    yield
    start_gateway(router)


def restart_agent(router, signal="TERM"):
    router.execute("kill", f"-{signal}", *router.execute("/bin/pidof", "nas-upnpd").stdout.split())
    wait_until(lambda: not router.runs("nas-upnpd"), "the agent has ended")
    router.execute("sh", "-c", "setsid nas-upnpd </dev/null >>/var/log/nas-upnpd 2>&1 &")
    wait_until(lambda: router.nasctl_json("upnp")["agent"], "the agent listens")


def stop_gateway(router):
    """Its program ends, and what it had mapped is gone, as after a loss of power."""
    router.client("igd", "sh", "-c", "kill $(cat /run/miniupnpd.pid); while pidof miniupnpd; do usleep 50000; done")
    for chain in ("miniupnpd", "prerouting_miniupnpd"):
        router.client("igd", "nft", "flush", "chain", "inet", "filter", chain)


def start_gateway(router):
    if router.client("igd", "pidof", "miniupnpd", check=False).returncode != 0:
        router.client("igd", "miniupnpd", "-f", "/etc/miniupnpd.conf", "-P", "/run/miniupnpd.pid")


def standing(router):
    return {mapping["external_port"]: mapping["standing"] for mapping in router.nasctl_json("upnp")["mappings"]}


def gateway_maps(router):
    """What the gateway says about the ports that should be mapped."""
    mappings = router.nasctl_json("upnp")["mappings"]
    return {mapping["external_port"]: mapping.get("gateway_target") for mapping in mappings}


def forwarded(router):
    """How many ports the gateway's packet filter forwards, whatever it and the agent say."""
    rules = router.client("igd", "nft", "list", "chain", "inet", "filter", "prerouting_miniupnpd").stdout
    return rules.count("dnat")


def greeting_from_the_internet(router):
    with router.network("inet"), contextlib.suppress(OSError):
        with socket.create_connection((GATEWAY, 21), timeout=2) as client:
            return client.recv(64)
    return b""


def test_what_a_service_opens_is_mapped_until_it_is_switched_off(router):
    router.switch_on("ftp")
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")
    wait_until(lambda: standing(router) == {21: "mapped", 9000: "mapped"}, "the agent knows it")
    wait_until(lambda: router.nasctl_json("upnp")["external_address"] == GATEWAY, "the gateway tells its address")
    wait_until(lambda: greeting_from_the_internet(router).startswith(b"220 "), "the daemon answers")

    router.switch_off("ftp")

    wait_until(lambda: gateway_maps(router) == {}, "nothing is to be mapped, and nothing to be closed")
    assert forwarded(router) == 0
    assert greeting_from_the_internet(router) == b""


def test_a_service_started_anew_keeps_its_mapping(router):
    router.switch_on("ftp")
    router.nasctl("service", "start", "ftp")

    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")


def test_a_port_that_a_service_leaves_is_closed(router):
    router.switch_on("ftp", port=21, web_port=9000)
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")
    try:
        router.switch_on("ftp", port=2121, web_port=0)
        wait_until(lambda: gateway_maps(router) == {2121: "10.20.0.2:2121"}, "one other port is mapped")
        assert forwarded(router) == 1
    finally:
        router.nasctl("service", "set", "ftp", "port=21", "web-port=9000")


def test_a_gateway_that_forgot_is_told_again(router, renewing):
    router.switch_on("ftp")
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")

    stop_gateway(router)
    start_gateway(router)

    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped again")


def test_a_gateway_that_comes_later_is_found(router, no_gateway):
    router.switch_on("ftp")
    assert router.nasctl_json("upnp")["gateway"] is None
    waiting = {21: "waiting", 9000: "waiting"}.items()
    wait_until(lambda: standing(router).items() >= waiting, "the agent has been asked for both")

    start_gateway(router)

    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")


@pytest.mark.parametrize("signal", ["TERM", "KILL"])
def test_an_agent_that_is_started_anew_goes_on(router, signal):
    router.switch_on("ftp")
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")

    restart_agent(router, signal)

    assert forwarded(router) == 2
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are still mapped")
    router.switch_off("ftp")
    wait_until(lambda: gateway_maps(router) == {}, "it takes requests")


def test_a_port_is_closed_even_when_the_gateway_was_away(router, renewing):
    router.switch_on("ftp")
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")
    pid = router.client("igd", "cat", "/run/miniupnpd.pid").stdout.strip()
    router.client("igd", "kill", "-STOP", pid)
    try:
        router.switch_off("ftp")
        restart_agent(router, "KILL")
        assert forwarded(router) == 2
    finally:
        router.client("igd", "kill", "-CONT", pid)

    wait_until(lambda: forwarded(router) == 0, "both ports are closed")


def test_nonsense_does_not_end_it(router):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
        sender.connect(str(router.path("/tmp/var/run/nas/upnp.sock")))
        for message in (b"", b"\0", b"upnp:service,A,tcp,<21>,21,x", b"upnp:service,A,tcp,21,21", b"x" * 2000):
            sender.send(message)

    router.switch_on("ftp")
    wait_until(lambda: gateway_maps(router) == FTP_PORTS, "both ports are mapped")
    assert "no request:" in router.read("/var/log/nas-upnpd")
