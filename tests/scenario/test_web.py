"""The web file service as a browser meets it: both servers, logins, listings and the links of the FTP users."""

import html
import re

import pytest

from conftest import wait_until
from ftp_client import file_on_disk, put_on_disk
from web_client import ADDRESS, answers, fetch, wait_for_server

WEB, FTP_WEB = 8000, 9000
USER = ("web", "It#s:a|pass=word;(1)")
GATEWAY = "11.0.0.1"  # the one address that the internet sees
NAMES = [
    "two words.txt",
    "Größe und Ähnliches.txt",
    "한글 이름.txt",
    "it's [quoted] #1?.txt",
    "100% %s <b>.txt",
    "$(reboot) `reboot` $HOME;&|.txt",
]


@pytest.fixture(scope="module")
def world(router, two_disks):
    router.add_users("ftp", [("anna", "pass-anna", "rw", ""), ("mona", "pass-mona", "ro", "Disk1:Movies")])
    router.add_users("url", [(*USER, "rw", "")])
    yield
    for service in ("url", "ftp"):
        router.leave(service)


def have(router, service, enabled, **settings):
    """Brings a service to that state; most tests find it so."""
    wanted = {"enabled": enabled, **{key.replace("_", "-"): value for key, value in settings.items()}}
    record = router.nasctl_json("service", "show", service)
    if wanted.items() <= record.items():
        return
    if enabled:
        words = {key: {True: "on", False: "off"}.get(value, value) for key, value in settings.items()}
        router.switch_on(service, **words)
    else:
        router.switch_off(service)


@pytest.fixture
def with_login(router, world):
    have(router, "url", True, port=WEB, auth=True)
    wait_for_server(router)


@pytest.fixture
def open_to_all(router, world):
    have(router, "url", True, port=WEB, auth=False)
    wait_for_server(router)


@pytest.fixture
def ftp_on(router, world):
    have(router, "ftp", True, web_port=FTP_WEB)
    wait_for_server(router, port=FTP_WEB)


@pytest.fixture
def ftp_off(router, world):
    have(router, "ftp", False)


def names_listed(page):
    return {html.unescape(name) for name in re.findall(r'<a href="[^"]*">([^<]*)</a>', page.decode())} - {".."}


def test_list_asks_for_the_users_password(router, with_login):
    assert fetch(router, "/list/")[0] == 401
    assert fetch(router, "/list/Disk1/note.txt")[0] == 401

    status, page = fetch(router, "/list/Disk1/", USER)
    assert status == 200
    assert {"Movies", "Docs", "note.txt"} <= names_listed(page)
    assert fetch(router, "/list/Disk1/Movies/note.txt", USER) == (200, b"Disk1/Movies/note.txt")


STRANGERS = [(USER[0], "wrong"), (USER[0], ""), ("nobody", USER[1]), ("anna", "pass-anna"), ("", "")]


@pytest.mark.parametrize("user", STRANGERS)
def test_strangers_stay_out(router, with_login, user):
    assert fetch(router, "/list/Disk1/note.txt", user)[0] == 401


def test_only_a_digest_is_taken(router, with_login):
    options = ["-s", "-o", "/dev/null", "-w", "%{http_code}", "--basic", "-u", ":".join(USER)]
    url = f"http://{ADDRESS}:{WEB}/list/Disk1/note.txt"
    assert router.client("lan", "curl", *options, url).stdout == "401"


def test_a_changed_password_counts_at_once(router, with_login):
    other = (USER[0], "another")
    try:
        router.nasctl("user", "set", "--service", "url", "--password", other[1], USER[0])
        wait_for_server(router)
        assert fetch(router, "/list/Disk1/note.txt", USER)[0] == 401
        assert fetch(router, "/list/Disk1/note.txt", other) == (200, b"Disk1/note.txt")
    finally:
        router.nasctl("user", "set", "--service", "url", "--password", USER[1], USER[0])


def test_without_login_everybody_may_list(router, open_to_all):
    status, page = fetch(router, "/list/")
    assert status == 200
    assert names_listed(page) == {"Disk1", "Disk2"}
    assert fetch(router, "/list/Disk2/Docs/note.txt") == (200, b"Disk2/Docs/note.txt")


def test_every_name_is_listed_and_fetched(router, open_to_all):
    for name in NAMES:
        put_on_disk(router, f"/Disk1/Docs/{name}", name.encode())
    assert names_listed(fetch(router, "/list/Disk1/Docs/")[1]) == {*NAMES, "note.txt"}
    for name in NAMES:
        assert fetch(router, "/list/Disk1/Docs/" + name.replace("%", "%25")) == (200, name.encode())


def test_what_is_hidden_stays_so(router, open_to_all):
    for name in (".hidden", "copy~", "secret.inc"):
        put_on_disk(router, f"/Disk2/Docs/{name}", b"x")
    assert names_listed(fetch(router, "/list/Disk2/Docs/")[1]) == {"note.txt", "secret.inc"}
    assert fetch(router, "/list/Disk2/Docs/copy~")[0] == 403
    assert fetch(router, "/list/Disk2/Docs/secret.inc")[0] == 403


def test_no_way_leads_out_of_the_root(router, open_to_all):
    for path in ("/list/../../etc/passwd", "/list/%2e%2e/%2e%2e/etc/passwd", "/..%2f..%2fetc/passwd"):
        answer = router.client("lan", "curl", "-s", "--path-as-is", f"http://{ADDRESS}:{WEB}{path}").stdout
        assert "root:" not in answer


def test_nothing_on_a_disk_is_run(router, open_to_all):
    script = b"#!/bin/sh\necho Content-Type: text/plain; echo; id\n"
    put_on_disk(router, "/Disk1/run.cgi", script).chmod(0o777)
    try:
        for path in ("/list/Disk1/run.cgi", "/httpstream/anna/Disk1/run.cgi", "/list/Disk1/run.cgi/x"):
            assert b"uid=" not in fetch(router, path)[1]
        assert fetch(router, "/list/Disk1/run.cgi") == (200, script)
    finally:
        file_on_disk(router, "/Disk1/run.cgi").unlink()


def test_each_ftp_user_has_a_link_to_the_disks(router, open_to_all):
    for user in ("anna", "mona"):
        assert fetch(router, f"/httpstream/{user}/Disk1/Movies/note.txt") == (200, b"Disk1/Movies/note.txt")
    assert fetch(router, "/httpstream/rolf/Disk1/note.txt")[0] == 404
    assert fetch(router, "/httpstream/")[0] == 403, "the names are not told"
    assert fetch(router, "/httpstream/anna/")[0] == 403


def test_links_follow_the_ftp_users(router, ftp_on):
    router.nasctl("user", "add", "--service", "ftp", "rolf", "--password", "pass-rolf")
    wait_for_server(router, port=FTP_WEB)
    assert fetch(router, "/httpstream/rolf/Disk1/note.txt", port=FTP_WEB) == (200, b"Disk1/note.txt")
    router.nasctl("user", "remove", "--service", "ftp", "rolf")
    wait_for_server(router, port=FTP_WEB)
    assert fetch(router, "/httpstream/rolf/Disk1/note.txt", port=FTP_WEB)[0] == 404


def test_both_servers_run_on_their_ports(router, ftp_on, with_login):
    wait_for_server(router, port=FTP_WEB)
    for port, program in ((WEB, "/sbin/lighttpd"), (FTP_WEB, "/sbin/lighttpd_kelsto")):
        pid = router.read(f"/var/run/lighttpd.pid.{port}").strip()
        command = router.read(f"/proc/{pid}/cmdline").split("\0")
        assert command[:3] == [program, "-f", f"/etc/lighttpd.conf.{port}"]
    assert fetch(router, "/kelsto.html", port=WEB) == fetch(router, "/kelsto.html", port=FTP_WEB)
    assert fetch(router, "/kelsto.html")[1] == b"nalVEX_NAS-334456"
    assert fetch(router, "/list/", USER)[0] == 200
    assert fetch(router, "/list/", USER, port=FTP_WEB)[0] == 403, "that one lists nothing"


def test_the_ftp_services_server_comes_and_goes_with_it(router, ftp_off, open_to_all):
    assert not answers(router, port=FTP_WEB)
    router.switch_on("ftp", web_port=FTP_WEB)
    wait_for_server(router, port=FTP_WEB)
    wait_for_server(router)
    router.switch_off("ftp")
    assert not answers(router, port=FTP_WEB)
    wait_for_server(router)


def test_it_is_open_to_the_internet_on_its_port(router, with_login):
    wait_for_server(router, network="inet", address=GATEWAY)
    there = {"network": "inet", "address": GATEWAY}
    assert fetch(router, "/list/Disk1/note.txt", **there)[0] == 401
    assert fetch(router, "/list/Disk1/note.txt", (USER[0], "wrong"), **there)[0] == 401
    assert fetch(router, "/list/Disk1/note.txt", USER, **there) == (200, b"Disk1/note.txt")
    assert "router_url -d 10.20.0.2/32 -p tcp -m tcp --dport 8000" in router.execute(
        "iptables", "-t", "nat", "-S", "router_url"
    ).stdout


def test_another_port_takes_the_place_of_the_first(router, open_to_all):
    wait_for_server(router, network="inet", address=GATEWAY)

    have(router, "url", True, port=8080)

    wait_for_server(router, network="inet", address=GATEWAY, port=8080)
    assert not answers(router)
    wait_until(lambda: WEB not in ports_mapped(router), "the first port is closed at the gateway")


def ports_mapped(router):
    return [mapping["external_port"] for mapping in router.nasctl_json("upnp")["mappings"]]


def test_switched_off_it_is_gone_and_the_user_is_told(router, ftp_off):
    router.switch_on("url", port=WEB, auth="off")
    started = router.events()[-1]
    router.switch_off("url")
    stopped = router.events()[-1]

    assert (started["id"], stopped["id"]) == ("@{106}", "@{107}")
    assert started["detail"] == stopped["detail"] == "@{104}"
    assert not answers(router)
    assert router.execute("iptables", "-t", "nat", "-S", "router_url").stdout == "-N router_url\n"
    wait_until(lambda: ports_mapped(router) == [], "the gateway maps nothing")


def test_a_server_that_dies_comes_back(router, open_to_all):
    router.kill("lighttpd")
    wait_for_server(router)
