"""Cloud backup and cloud sync with a real rsync: trees there and back, strangers kept out, and the registration."""

import dataclasses
import filecmp
import json
import os
import re
import shutil

import pytest

from conftest import PATIENCE, STATE, CommandFailed, image_maker, plugger, wait_until
from ftp_client import file_on_disk
from registration_server import registration_server

ADDRESS = "192.168.1.1"
GATEWAY = "11.0.0.1"  # the one address that the internet sees
ACCOUNT = "home.kelsto.example,the credential"
AUTH = "aG9tZTp0aGUgY3JlZGVudGlhbA=="  # home:the credential
FOLDER = "Größe & {x}, 100%"
PASSWORD = "It#s:a|pass=word;(1)"


@dataclasses.dataclass(frozen=True)
class Cloud:
    service: str
    port: int
    secrets: str
    source: str
    word: str
    server: str
    response: str
    tells: str


BACKUP = Cloud(
    service="rsync",
    port=1873,
    secrets="/etc/cloudbackup.secrets",
    source="@{97}",
    word="cloudbackup",
    server="backup.nalvex.example",
    response="/tmp/cloud_backup_response",
    tells="",
)
SYNC = Cloud(
    service="nalvexcloud",
    port=2873,
    secrets="/etc/nalvexcloud.secrets",
    source="@{138}",
    word="nalvexcloud",
    server="sync.nalvex.example",
    response="/tmp/nalvexcloud_response",
    tells="&nalvexcloudinfo={hddname,Disk1},{folder,Größe & {x}, 100%}",
)

both = pytest.mark.parametrize("cloud", [BACKUP, SYNC], ids=lambda cloud: cloud.service)


@pytest.fixture(scope="module")
def world(router, tmp_path_factory):
    make = image_maker(router, tmp_path_factory.mktemp("disks"))
    with plugger(router) as plug:
        plug(make("ext4", "Disk1", {"note.txt": b"not in the folder", "Backup/": None}), "sda")
        for cloud in (BACKUP, SYNC):
            router.add_users(cloud.service, [("anna", PASSWORD, "rw", "")])
        yield
        for cloud in (BACKUP, SYNC):
            router.nasctl("service", "disable", cloud.service)
            router.remove_users(cloud.service)


@pytest.fixture
def running(router, world, cloud):
    if not router.nasctl_json("service", "show", cloud.service)["enabled"]:
        switch_on(router, cloud)


def switch_on(router, cloud):
    router.switch_on(cloud.service, port=cloud.port, disk="Disk1", folder=FOLDER)


@pytest.fixture
def share():
    """A folder that the clients see as /share/rsync."""
    folder = STATE / "share" / "rsync"
    folder.mkdir()
    yield folder
    shutil.rmtree(folder)


def rsync(router, cloud, *arguments, password=PASSWORD, network="lan", check=True, patience=PATIENCE):
    """In the arguments MODULE stands for the module's URL; `patience`: for the connection, in seconds."""
    address = ADDRESS if network == "lan" else GATEWAY
    module = f"rsync://anna@{address}:{cloud.port}/{FOLDER}"
    words = [argument.replace("MODULE", module) for argument in arguments]
    program = ["env", f"RSYNC_PASSWORD={password}", "rsync", f"--timeout={PATIENCE}", f"--contimeout={patience}"]
    return router.client(network, *program, *words, check=check)


def make_tree(folder):
    files = {
        "a.txt": b"one",
        "deep/er/empty": b"",
        "deep/two words.txt": b"two",
        "한글 'quoted' \"name\" $(reboot).bin": os.urandom(3_000_000),
        "-rf": b"three",
    }
    for name, content in files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
    (folder / "link").symlink_to("deep/two words.txt")
    (folder / "empty folder").mkdir()


def same(one, other):
    difference = filecmp.dircmp(one, other)
    return (
        not difference.left_only
        and not difference.right_only
        and not filecmp.cmpfiles(one, other, difference.common_files, shallow=False)[1]
        and all(same(one / name, other / name) for name in difference.common_dirs)
    )


@both
def test_a_tree_goes_there_and_comes_back(router, running, cloud, share):
    make_tree(share / "tree")

    rsync(router, cloud, "-a", "--delete", "/share/rsync/tree/", "MODULE/")
    rsync(router, cloud, "-a", "MODULE/", "/share/rsync/back/")

    stored = file_on_disk(router, f"/Disk1/{FOLDER}")
    assert (stored / "a.txt").read_bytes() == b"one"
    assert same(share / "tree", share / "back")
    assert os.readlink(share / "back" / "link") == "deep/two words.txt"


@both
def test_deleted_and_changed_files_follow(router, running, cloud, share):
    make_tree(share / "tree")
    rsync(router, cloud, "-a", "--delete", "/share/rsync/tree/", "MODULE/")
    (share / "tree" / "a.txt").write_bytes(b"changed")
    shutil.rmtree(share / "tree" / "deep")

    rsync(router, cloud, "-a", "--delete", "/share/rsync/tree/", "MODULE/")

    stored = file_on_disk(router, f"/Disk1/{FOLDER}")
    assert (stored / "a.txt").read_bytes() == b"changed"
    assert not (stored / "deep").exists()


@both
def test_strangers_stay_out(router, running, cloud, share):
    make_tree(share / "tree")
    for password in ("wrong", "", PASSWORD + "x"):
        for arguments in (("MODULE/",), ("-a", "/share/rsync/tree/", "MODULE/stolen/")):
            refused = rsync(router, cloud, *arguments, password=password, check=False)
            assert refused.returncode == 5
            assert "@ERROR: auth failed on module" in refused.stderr
    unnamed = f"rsync://{ADDRESS}:{cloud.port}/{FOLDER}/"
    assert "auth failed" in router.client("lan", "rsync", unnamed, check=False).stderr
    assert not file_on_disk(router, f"/Disk1/{FOLDER}/stolen").exists()


@both
def test_nothing_but_the_folder_is_reached(router, running, cloud, share):
    (share / "tree").mkdir()
    (share / "tree" / "out").symlink_to("/etc")
    rsync(router, cloud, "-a", "/share/rsync/tree/", "MODULE/")

    for path in ("out/passwd", "../note.txt", "%2e%2e/note.txt"):
        refused = rsync(router, cloud, "-aL", f"MODULE/{path}", "/share/rsync/got", check=False)
        assert refused.returncode != 0
        assert not (share / "got").exists()


@both
def test_a_changed_password_counts_at_once(router, running, cloud):
    router.nasctl("user", "set", "--service", cloud.service, "--password", "another", "anna")
    try:
        assert rsync(router, cloud, "MODULE/", check=False).returncode == 5
        rsync(router, cloud, "MODULE/", password="another")
    finally:
        router.nasctl("user", "set", "--service", cloud.service, "--password", PASSWORD, "anna")
    assert router.read(cloud.secrets) == f"anna:{PASSWORD}"


def reaches(router, cloud):
    try:
        rsync(router, cloud, "MODULE/", network="inet", patience=5)  # the gateway drops what it does not map
    except CommandFailed:
        return False
    return True


def ports_mapped(router):
    return [mapping["external_port"] for mapping in router.nasctl_json("upnp")["mappings"]]


@both
def test_it_is_reached_from_the_internet(router, running, cloud, share):
    make_tree(share / "tree")
    wait_until(lambda: reaches(router, cloud), "the port is open to the internet")

    rsync(router, cloud, "-a", "--delete", "/share/rsync/tree/", "MODULE/", network="inet")
    rsync(router, cloud, "-a", "MODULE/", "/share/rsync/back/", network="inet")

    assert same(share / "tree", share / "back")
    assert rsync(router, cloud, "MODULE/", password="wrong", network="inet", check=False).returncode == 5
    rules = router.execute("iptables", "-t", "nat", "-S", f"router_{cloud.service}").stdout
    assert f"-d 10.20.0.2/32 -p tcp -m tcp --dport {cloud.port} -j DNAT --to-destination 192.168.1.1\n" in rules


@both
def test_switched_off_it_is_gone_and_the_user_is_told(router, world, cloud):
    switch_on(router, cloud)
    wait_until(lambda: reaches(router, cloud), "the port is open to the internet")
    started = router.events()[-1]

    router.switch_off(cloud.service)

    stopped = router.events()[-1]
    assert (started["id"], stopped["id"]) == ("@{106}", "@{107}")
    assert started["detail"] == stopped["detail"] == cloud.source
    assert rsync(router, cloud, "MODULE/", check=False).returncode != 0
    assert router.execute("iptables", "-t", "nat", "-S", f"router_{cloud.service}").stdout == (
        f"-N router_{cloud.service}\n"
    )
    wait_until(lambda: cloud.port not in ports_mapped(router), "the gateway maps it no more")
    assert not reaches(router, cloud)


def test_both_run_side_by_side(router, world):
    for cloud in (BACKUP, SYNC):
        switch_on(router, cloud)
    for cloud in (BACKUP, SYNC):
        rsync(router, cloud, "MODULE/")
    router.nasctl("service", "start", "rsync")
    rsync(router, SYNC, "MODULE/")


@both
def test_a_daemon_that_dies_comes_back(router, running, cloud):
    router.kill(cloud.service)
    wait_until(lambda: router.runs(cloud.service), "it runs again")


@both
def test_a_link_on_the_disk_leads_nowhere(router, world, cloud):
    file_on_disk(router, "/Disk1/etc").symlink_to("/etc")
    try:
        refused = router.nasctl("service", "set", cloud.service, "disk=Disk1", "folder=etc", check=False)
        assert refused.returncode == 1
        assert "is no folder" in refused.stderr
    finally:
        file_on_disk(router, "/Disk1/etc").unlink()


@both
def test_without_its_disk_it_does_not_start(router, world, make_image, cloud):
    with plugger(router) as plug:
        plug(make_image("ext4", "Disk2", {}, size="16M"), "sdb")
        router.nasctl("service", "disable", cloud.service)
        router.nasctl("service", "set", cloud.service, "disk=Disk2", f"folder={FOLDER}", "--no-apply")
    try:
        refused = router.nasctl("service", "enable", cloud.service, check=False)
        assert refused.returncode == 1
        assert "Disk2" in refused.stderr
        assert not router.runs(cloud.service)
        event = router.events()[-1]
        assert (event["id"], event["detail"]) == ("@{105}", cloud.source)
    finally:
        router.nasctl("service", "disable", cloud.service)


# --- the registration ---


@pytest.fixture
def account(router):
    router.nasctl("config", "set", "host_ddns_kelsto_router_0", ACCOUNT)
    yield
    router.nasctl("config", "unset", "host_ddns_kelsto_router_0")


def answer_of(router, cloud):
    return router.read(cloud.response, check=False)


@both
def test_the_server_learns_what_the_router_says(router, world, account, cloud, tmp_path):
    router.execute("rm", "-f", cloud.response)
    with registration_server(router, tmp_path) as server:
        switch_on(router, cloud)
        (request,) = server.wait_for(1)
        wait_until(lambda: answer_of(router, cloud) == "registered\n", "the web interface finds the answer")

    nonce = request["fields"]["rv"]
    assert re.fullmatch("[a-qs-zA-QS-Z]{16}", nonce)
    assert request["text"] == (
        f"rv={nonce}&auth={AUTH}&{cloud.word}={cloud.port}&system_ip=192.168.1.1&gw_mac={cloud.tells}"
    )
    assert request["fields"]["account"] == "home:the credential"
    assert request["host"] == f"{cloud.server}:33798"
    assert request["path"] == f"/{cloud.word}/server_register3.php"


@both
def test_each_start_registers_anew(router, running, account, cloud, tmp_path):
    with registration_server(router, tmp_path) as server:
        for _ in range(3):
            router.nasctl("service", "start", cloud.service)
        requests = server.wait_for(3)

    assert len({request["fields"]["rv"] for request in requests}) == 3
    assert len({json.dumps({**request["fields"], "rv": ""}) for request in requests}) == 1


@both
def test_without_an_account_nobody_is_told(router, running, cloud, tmp_path):
    with registration_server(router, tmp_path) as server:
        router.nasctl("service", "start", cloud.service)
        rsync(router, cloud, "MODULE/")
        assert server.requests() == []


@both
def test_a_server_with_another_key_learns_nothing(router, running, account, cloud, tmp_path):
    with registration_server(router, tmp_path, "--key", "another") as server:
        router.nasctl("service", "start", cloud.service)
        wait_until(lambda: "registration-server: /" in (tmp_path / "messages").read_text(), "a request has come")
        assert server.requests() == []
    rsync(router, cloud, "MODULE/")
