"""What the maker's remote access asks for: the file servers forced up for it, and swept away after it."""

import pytest

from conftest import wait_until
from ftp_client import Client
from registration_server import registration_server
from web_client import answers, fetch, wait_for_server

NAME_FILE = (200, b"nalVEX_NAS-334456")


@pytest.fixture(scope="module")
def world(router, two_disks):
    router.add_users("ftp", [("anna", "pass-anna", "rw", "")])
    router.nasctl("config", "set", "host_ddns_kelsto_router_0", "home.kelsto.example,the credential")
    yield
    router.nasctl("config", "unset", "host_ddns_kelsto_router_0")
    router.switch_on("ftp")  # so that what was forced is ended, and its port closed at the gateway
    router.leave("ftp")


@pytest.fixture
def swept(router, world):
    if router.nasctl_json("service", "show", "ftp")["enabled"]:
        router.switch_off("ftp")
    router.nasctl("kelsto", "sweep")
    wait_until(lambda: not runs(router), "nothing runs")


def runs(router):
    return {name for name in ("proftpd", "lighttpd_kelsto") if router.runs(name)}


def rules(router):
    listing = router.execute("iptables", "-t", "nat", "-S", "router_kelsto").stdout.splitlines()
    return [rule for rule in listing if rule.startswith("-A")]


def test_prepare_starts_both_servers_though_ftp_is_off(router, swept):
    before = router.events()

    said = router.nasctl("kelsto", "prepare").stderr

    assert "Forced launch proftpd..." in said
    assert "Forced launch lighttpd_kelst..." in said
    wait_for_server(router, port=9000)
    assert fetch(router, "/kelsto.html", port=9000) == NAME_FILE
    assert fetch(router, "/httpstream/anna/Disk1/note.txt", port=9000) == (200, b"Disk1/note.txt")
    assert Client(router, "anna", "pass-anna").get("/Disk2/note.txt") == b"Disk2/note.txt"
    assert router.events() == before, "it is done quietly"
    assert rules(router) == [], "FTP stays closed to the internet"


def test_prepare_leaves_what_runs_alone(router, swept):
    router.nasctl("kelsto", "prepare")
    wait_until(lambda: runs(router) == {"proftpd", "lighttpd_kelsto"}, "both run")
    before = router.processes("proftpd"), router.processes("lighttpd_kelsto")

    assert "Forced launch" not in router.nasctl("kelsto", "prepare").stderr

    assert (router.processes("proftpd"), router.processes("lighttpd_kelsto")) == before


def test_prepare_starts_what_is_missing(router, swept):
    router.nasctl("kelsto", "prepare")
    wait_for_server(router, port=9000)
    ftp = router.processes("proftpd")
    router.execute("killall", "-9", "lighttpd_kelsto")
    wait_until(lambda: runs(router) == {"proftpd"}, "the web server has ended")

    said = router.nasctl("kelsto", "prepare").stderr

    assert "Forced launch lighttpd_kelst..." in said
    assert "Forced launch proftpd..." not in said
    wait_for_server(router, port=9000)
    assert router.processes("proftpd") == ftp


def test_sweep_ends_both_and_registers_the_router_anew(router, swept, tmp_path):
    router.nasctl("kelsto", "prepare")
    wait_for_server(router, port=9000)

    with registration_server(router, tmp_path) as server:
        router.nasctl("kelsto", "sweep")
        requests = server.wait_for(2)

    wait_until(lambda: not runs(router), "both have ended")
    assert not answers(router, port=9000)
    assert {request["path"] for request in requests} == {
        "/cloudbackup/server_register3.php",
        "/nalvexcloud/server_register3.php",
    }


def test_sweep_leaves_an_ftp_service_that_is_on(router, swept, tmp_path):
    router.switch_on("ftp")
    wait_for_server(router, port=9000)
    before = router.processes("proftpd"), router.processes("lighttpd_kelsto"), rules(router)

    with registration_server(router, tmp_path) as server:
        router.nasctl("kelsto", "sweep")
        server.wait_for(2)

    assert (router.processes("proftpd"), router.processes("lighttpd_kelsto"), rules(router)) == before
    assert len(before[2]) == 2
    assert fetch(router, "/kelsto.html", port=9000) == NAME_FILE
