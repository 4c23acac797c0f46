"""nasctl user: the accounts behind the users of FTP and Samba."""

import ftplib

import pytest

from conftest import PATIENCE, wait_until
from ftp_client import Client


@pytest.fixture(autouse=True)
def leave(router):
    yield
    for service in ("ftp", "samba"):
        router.leave(service)


def accounts(router):
    return {line.split(":")[0] for line in router.read("/etc/passwd").splitlines()}


def add(router, service, name, password="first-1", *options):
    router.nasctl("user", "add", "--service", service, name, "--password", password, *options)


def logs_in(router, name, password):
    try:
        return Client(router, name, password).list("/") is not None
    except ftplib.error_perm:
        return False


def test_a_command_does_not_wait_for_the_daemons_it_starts(router):
    for service in ("ftp", "samba"):
        # busybox's timeout ends with 143 when it had to end the pipeline
        router.execute("timeout", PATIENCE, "sh", "-c", f"nasctl service enable {service} 2>&1 | cat")
        assert router.nasctl_json("service", "show", service)["enabled"]
    assert router.runs("proftpd") and router.runs("smbd")


def test_a_running_service_learns_of_its_users(router):
    router.switch_on("ftp")
    add(router, "ftp", "anna", "first-1")
    assert logs_in(router, "anna", "first-1")

    router.nasctl("user", "set", "-s", "ftp", "anna", "--password", "second-2")
    assert logs_in(router, "anna", "second-2")
    assert not logs_in(router, "anna", "first-1")

    router.nasctl("user", "set", "-s", "ftp", "anna", "--permission", "none")
    assert not logs_in(router, "anna", "second-2")

    router.nasctl("user", "remove", "-s", "ftp", "anna")
    assert "anna" not in accounts(router)
    assert not logs_in(router, "anna", "second-2")


def test_the_longest_name_and_password_reach_the_account_whole(router):
    name, password = "n" * 31, "!#&()*+-./0:;<=>?@A[]^_a{|}~" + "p" * 35
    router.switch_on("ftp")
    add(router, "ftp", name, password)

    assert logs_in(router, name, password)
    assert not logs_in(router, name, password[:-1])


def test_an_account_stays_while_another_service_needs_it(router):
    add(router, "ftp", "anna")
    add(router, "samba", "anna")
    router.nasctl("user", "remove", "-s", "ftp", "anna")
    assert "anna" in accounts(router)
    router.nasctl("user", "remove", "-s", "samba", "anna")
    assert "anna" not in accounts(router)


def test_an_account_of_the_system_is_neither_taken_nor_removed(router):
    before = router.read("/etc/passwd"), router.read("/etc/shadow")
    for name in ("root", "Root", "lp", "nobody"):
        refused = router.nasctl("user", "add", "-s", "ftp", name, "--password", "x", check=False)
        assert refused.returncode == 2
    # a record that came in another way
    router.nasctl("config", "set", "nas_user_samba_2", "root,secret,1")
    refused = router.nasctl("user", "set", "-s", "samba", "root", "--password", "x", check=False)
    assert refused.returncode == 2
    router.nasctl("user", "remove", "-s", "samba", "root")

    assert router.nasctl_json("user", "list") == []
    assert (router.read("/etc/passwd"), router.read("/etc/shadow")) == before


def test_no_more_than_five_fit(router):
    names = [f"user{number}" for number in range(5)]
    for name in names:
        add(router, "samba", name)
    refused = router.nasctl("user", "add", "-s", "samba", "sixth", "--password", "x", check=False)
    assert (refused.returncode, refused.stderr) == (1, "nasctl: samba: there are 5 users already, no more fit\n")
    assert "sixth" not in accounts(router)

    router.nasctl("user", "remove", "-s", "samba", "user2")
    add(router, "samba", "sixth")
    slots = {user["name"]: user["slot"] for user in router.nasctl_json("user", "list", "-s", "samba")}
    assert slots == {"user0": 0, "user1": 1, "sixth": 2, "user3": 3, "user4": 4}


def opens_share(router, name, password):
    address = ["//192.168.1.1/IPC$", "-c", "quit"]
    return router.client("lan", "smbclient", "-U", f"{name}%{password}", *address, check=False).returncode == 0


def test_samba_learns_the_password(router):
    router.switch_on("samba")
    add(router, "samba", "bert", "p!#w(1)*x")

    wait_until(lambda: opens_share(router, "bert", "p!#w(1)*x"), "the right password opens")
    assert not opens_share(router, "bert", "wrong")
