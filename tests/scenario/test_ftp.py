"""File transfer with FTP clients in the LAN: who may do what, every name, and the daemon's life."""

import concurrent.futures
import ftplib

import pytest

from ftp_client import ADDRESS, Client, connect, file_on_disk, put_on_disk

USERS = [
    ("anna", "pass-anna", "rw", ""),
    ("rolf", "pass-rolf", "ro", ""),
    ("dora", "pass-dora", "none", ""),
    ("dirk", "pass-dirk", "rw", "Disk2"),
    ("mona", "pass-mona", "rw", "Disk1:Movies"),
]
PASSWORDS = {name: password for name, password, _, _ in USERS}

# What each user may do at each place.
RIGHTS = {
    "anna": {
        "/": "list",
        "/Disk1": "list get put delete",
        "/Disk1/Movies": "list get put delete",
        "/Disk1/Docs": "list get put delete",
        "/Disk2": "list get put delete",
        "/Disk2/Movies": "list get put delete",
        "/Disk2/Docs": "list get put delete",
    },
    "rolf": {
        "/": "list",
        "/Disk1": "list get",
        "/Disk1/Movies": "list get",
        "/Disk1/Docs": "list get",
        "/Disk2": "list get",
        "/Disk2/Movies": "list get",
        "/Disk2/Docs": "list get",
    },
    "dirk": {
        "/": "list",
        "/Disk1": "",
        "/Disk1/Movies": "",
        "/Disk1/Docs": "",
        "/Disk2": "list get put delete",
        "/Disk2/Movies": "list get put delete",
        "/Disk2/Docs": "list get put delete",
    },
    "mona": {
        "/": "list",
        "/Disk1": "list",
        "/Disk1/Movies": "list get put delete",
        "/Disk1/Docs": "",
        "/Disk2": "",
        "/Disk2/Movies": "",
        "/Disk2/Docs": "",
    },
}

SEEN_AT_THE_TOP = {
    "anna": {"Disk1", "Disk2"},
    "rolf": {"Disk1", "Disk2"},
    "dirk": {"Disk2"},
    "mona": {"Disk1"},
}

NAMES = [
    "two words.txt",
    "Größe und Ähnliches.txt",
    "한글 이름.txt",
    "it's \"quoted\".txt",
    "100% %s %d.txt",
    "[brackets] {braces} *.txt",
    "$(reboot) `reboot` $HOME;&|.txt",
    "-rf #1 \\ back.txt",
]


@pytest.fixture(scope="module")
def ftp(router, two_disks):
    router.add_users("ftp", USERS)
    router.switch_on("ftp", charset="UTF-8")
    yield
    router.leave("ftp")


@pytest.fixture(scope="module")
def client(router, ftp):
    clients = {}

    def client_of(name):
        if name not in clients:
            clients[name] = Client(router, name, PASSWORDS[name])
        return clients[name]

    yield client_of
    for each in clients.values():
        each.ftp.close()


every_user = pytest.mark.parametrize("user", RIGHTS)
every_place = pytest.mark.parametrize("place", RIGHTS["anna"])
every_folder = pytest.mark.parametrize("folder", list(RIGHTS["anna"])[1:])

@every_user
@every_place
def test_list(client, user, place):
    if "list" not in RIGHTS[user][place]:
        with pytest.raises(ftplib.error_perm, match="^550 "):
            client(user).list(place)
        return
    seen = client(user).list(place)
    if place == "/":
        assert seen == SEEN_AT_THE_TOP[user]
    elif user == "mona" and place == "/Disk1":
        assert seen == {"Movies"}
    else:
        assert "note.txt" in seen


@every_user
@every_folder
def test_get(router, client, user, folder):
    path = f"{folder}/get-{user}.txt"
    put_on_disk(router, path, b"to be read")
    if "get" in RIGHTS[user][folder]:
        assert client(user).get(path) == b"to be read"
    else:
        with pytest.raises(ftplib.error_perm, match="^550 "):
            client(user).get(path)


@every_user
@every_place
def test_put(router, client, user, place):
    path = f"{place.rstrip('/')}/put-{user}.txt"
    file = file_on_disk(router, path)
    if "put" in RIGHTS[user][place]:
        client(user).put(path, b"written")
        assert file.read_bytes() == b"written"
    else:
        with pytest.raises(ftplib.error_perm, match="^55[03] "):
            client(user).put(path, b"written")
        assert not file.exists()


@every_user
@every_folder
def test_overwrite(router, client, user, folder):
    path = f"{folder}/overwrite-{user}.txt"
    file = put_on_disk(router, path, b"the first")
    if "put" in RIGHTS[user][folder]:
        client(user).put(path, b"the second")
        assert file.read_bytes() == b"the second"
    else:
        with pytest.raises(ftplib.error_perm, match="^55[03] "):
            client(user).put(path, b"the second")
        assert file.read_bytes() == b"the first"


@every_user
@every_folder
def test_delete(router, client, user, folder):
    path = f"{folder}/delete-{user}.txt"
    file = put_on_disk(router, path, b"to be deleted")
    if "delete" in RIGHTS[user][folder]:
        client(user).delete(path)
        assert not file.exists()
    else:
        with pytest.raises(ftplib.error_perm, match="^550 "):
            client(user).delete(path)
        assert file.read_bytes() == b"to be deleted"


@pytest.fixture(scope="module")
def replies_to_strangers(router, ftp):
    """What the daemon says to each of them: at the same time, as it lets every one wait."""
    tries = {
        "wrong password": ("anna", "pass-rolf"),
        "no password": ("anna", ""),
        "unknown user": ("nemo", "pass-anna"),
        "denied user": ("dora", "pass-dora"),
        "anonymous": ("anonymous", "guest@example.org"),
        "ftp": ("ftp", "guest@example.org"),
        "root": ("root", ""),
    }

    def reply(name_and_password):
        try:
            return connect(router, *name_and_password).lastresp
        except ftplib.error_perm as refusal:
            return str(refusal)

    with concurrent.futures.ThreadPoolExecutor(len(tries)) as threads:
        return dict(zip(tries, threads.map(reply, tries.values())))


@pytest.mark.parametrize(
    "who", ["wrong password", "no password", "unknown user", "denied user", "anonymous", "ftp", "root"]
)
def test_strangers_are_kept_out(replies_to_strangers, who):
    assert replies_to_strangers[who].startswith("530 ")


@pytest.mark.parametrize("name", NAMES)
def test_a_name_goes_through_unchanged(router, client, name):
    path = f"/Disk1/Movies/{name}"
    content = name.encode() + bytes(range(256)) * 100

    client("anna").put(path, content)

    assert file_on_disk(router, path).read_bytes() == content
    assert name in client("anna").list("/Disk1/Movies")
    assert client("anna").get(path) == content
    client("anna").delete(path)
    assert not file_on_disk(router, path).exists()


def test_a_folder_is_made_and_removed_by_who_may_write(router, client):
    folder = file_on_disk(router, "/Disk2/New folder")

    with pytest.raises(ftplib.error_perm, match="^55[03] "):
        client("rolf").ftp.mkd("/Disk2/New folder")
    assert not folder.exists()

    client("dirk").ftp.mkd("/Disk2/New folder")
    assert folder.is_dir()

    with pytest.raises(ftplib.error_perm, match="^55[03] "):
        client("rolf").ftp.rmd("/Disk2/New folder")
    assert folder.is_dir()

    client("dirk").ftp.rmd("/Disk2/New folder")
    assert not folder.exists()


@pytest.mark.parametrize("way", ["/../../etc/passwd", "/Disk1/../../../etc/passwd", "../../etc/passwd"])
def test_no_way_leads_out_of_the_disks(client, way):
    with pytest.raises(ftplib.error_perm, match="^550 "):
        client("anna").get(way)


def test_a_user_of_samba_alone_is_kept_out(router, ftp):
    router.add_users("samba", [("sam", "pass-sam", "rw", "")])
    router.execute("sh", "-c", "printf '%s\\n' pass-sam pass-sam | passwd sam")
    assert connect(router, "sam", "pass-sam")  # an account with a password: the daemon has not heard of Samba

    router.nasctl("service", "start", "ftp")

    with pytest.raises(ftplib.error_perm, match="^530 "):
        connect(router, "sam", "pass-sam")
    router.remove_users("samba")


def test_a_client_with_another_charset_writes_the_same_names(router, ftp):
    router.switch_on("ftp", charset="EUC-KR")

    Client(router, "anna", PASSWORDS["anna"], encoding="euc-kr").put("/Disk1/Movies/한글 이름.txt", b"Hangul")

    assert file_on_disk(router, "/Disk1/Movies/한글 이름.txt").read_bytes() == b"Hangul"
    assert "한글 이름.txt" in Client(router, "anna", PASSWORDS["anna"], encoding="euc-kr").list("/Disk1/Movies")


def test_killed_it_is_started_again(router, ftp):
    router.kill("proftpd")

    router.nasctl("service", "start", "ftp")

    assert Client(router, "anna", PASSWORDS["anna"]).get("/Disk2/Docs/note.txt") == b"Disk2/Docs/note.txt"


def test_switched_off_it_is_closed_and_the_user_is_told(router, ftp):
    started = router.events()[-1]

    router.switch_off("ftp")

    with router.network("lan"), pytest.raises(ConnectionRefusedError):
        ftplib.FTP(ADDRESS, timeout=5)
    stopped = router.events()[-1]
    assert (started["id"], stopped["id"]) == ("@{106}", "@{107}")
    assert started["detail"] == stopped["detail"] == "@{98}"
