"""Windows file sharing with clients in the LAN: who may do what, every name, and the daemons' life."""

import pytest

from conftest import wait_until
from samba_client import SHARED, Client

USERS = [
    ("anna", "pass-anna", "rw", ""),
    ("rolf", "pass-rolf", "ro", ""),
    ("dora", "pass-dora", "none", ""),
    ("dirk", "pass-dirk", "rw", "Disk2"),
    ("mona", "pass-mona", "rw", "Disk1:Movies"),
]
PASSWORDS = {name: password for name, password, _, _ in USERS}

# Each share, and the folder that it is.
SHARES = {
    "Disk1": "Disk1",
    "Movies": "Disk1/Movies",
    "Disk2": "Disk2",
    "Docs": "Disk2/Docs",
    "Movies(Disk2)": "Disk2/Movies",
}

# What each user may do in each share.
RIGHTS = {
    "anna": {
        "Disk1": "list get put delete",
        "Movies": "",
        "Disk2": "list get put delete",
        "Docs": "",
        "Movies(Disk2)": "",
    },
    "rolf": {
        "Disk1": "list get",
        "Movies": "",
        "Disk2": "list get",
        "Docs": "",
        "Movies(Disk2)": "",
    },
    "dirk": {
        "Disk1": "",
        "Movies": "",
        "Disk2": "list get put delete",
        "Docs": "list get put delete",
        "Movies(Disk2)": "list get put delete",
    },
    "mona": {
        "Disk1": "",
        "Movies": "list get put delete",
        "Disk2": "",
        "Docs": "",
        "Movies(Disk2)": "",
    },
}

SHOWN = {
    "anna": {"Disk1", "Disk2"},
    "rolf": {"Disk1", "Disk2"},
    "dirk": {"Disk2"},
    "mona": {"Movies"},
}

NAMES = [
    "two words.txt",
    "Größe und Ähnliches.txt",
    "한글 이름.txt",
    "it's quoted.txt",
    "100% %s %U.txt",
    "[brackets] {braces}.txt",
    "$(reboot) `reboot` $HOME&.txt",
    "-rf #1.txt",
]

# What the client prints when a door is closed, and when a file may not be changed.
NO_ENTRY = "tree connect failed: NT_STATUS_ACCESS_DENIED"
NO_LOGIN = "session setup failed: NT_STATUS_LOGON_FAILURE"
NO_CHANGE = "NT_STATUS_ACCESS_DENIED"


@pytest.fixture(scope="module")
def samba(router, two_disks):
    router.add_users("samba", USERS)
    router.switch_on("samba", name="NALVEX", recycle="on", smb1="off", smb2="on")
    wait_until_served(router)
    yield
    router.leave("samba")


def client_of(router, user, **options):
    return Client(router, user, PASSWORDS[user], **options)


def wait_until_served(router, **options):
    """The daemons go to the background before they listen."""
    wait_until(client_of(router, "anna", **options).shares, "shares are shown")


def folder_on_disk(router, share):
    return router.path(f"/tmp/mnt/{SHARES[share]}")


def new_file(folder, name, content):
    file = folder / name
    file.write_bytes(content)
    file.chmod(0o666)
    return file


def local_file(name, content=b""):
    """A file of the client's, in the folder that it sees as /share."""
    file = SHARED / name
    file.write_bytes(content)
    return file


@pytest.mark.parametrize("user", SHOWN)
def test_everybody_is_shown_their_shares(router, samba, user):
    assert client_of(router, user).shares() == SHOWN[user]


@pytest.mark.parametrize("share", SHARES)
@pytest.mark.parametrize("user", RIGHTS)
def test_list_get_put_overwrite_and_delete(router, samba, user, share):
    rights = RIGHTS[user][share]
    folder = folder_on_disk(router, share)
    old = new_file(folder, f"old-{user}.txt", b"the first")
    doomed = new_file(folder, f"doomed-{user}.txt", b"to be deleted")
    new = folder / f"new-{user}.txt"
    local_file("new", b"written")
    fetched = local_file("fetched", b"nothing yet")

    said = client_of(router, user).run(
        share,
        "ls",
        f"get {old.name} /share/fetched",
        f"put /share/new {new.name}",
        f"put /share/new {old.name}",
        f"del {doomed.name}",
    )

    assert (NO_ENTRY in said) == (rights == "")
    assert ("note.txt" in said) == ("list" in rights)
    assert fetched.read_bytes() == (b"the first" if "get" in rights else b"nothing yet")
    if "put" in rights:
        assert new.read_bytes() == b"written"
        assert old.read_bytes() == b"written"
    else:
        assert not new.exists()
        assert old.read_bytes() == b"the first"
    if "delete" in rights:
        assert not doomed.exists()
    else:
        assert doomed.read_bytes() == b"to be deleted"
    if rights == "list get":
        assert f"{NO_CHANGE} opening remote file \\{new.name}" in said
        assert f"{NO_CHANGE} opening remote file \\{old.name}" in said
        assert f"{NO_CHANGE} deleting remote file \\{doomed.name}" in said


def test_what_is_deleted_is_kept_in_the_recycle_bin(router, samba):
    new_file(router.path("/tmp/mnt/Disk2/Docs"), "letter.txt", b"the only copy")

    client_of(router, "anna").run("Disk2", r"del Docs\letter.txt")

    assert not router.path("/tmp/mnt/Disk2/Docs/letter.txt").exists()
    kept = router.path("/tmp/mnt/Disk2/Network Trashes Folder/Docs/letter.txt")
    assert kept.read_bytes() == b"the only copy"


STRANGERS = {
    "wrong password": ("anna", "pass-rolf"),
    "no password": ("anna", ""),
    "unknown user": ("nemo", "pass-anna"),
    "denied user": ("dora", "pass-dora"),
    "root": ("root", ""),
}


@pytest.mark.parametrize("who", STRANGERS)
def test_strangers_are_kept_out(router, samba, who):
    stolen = local_file("stolen", b"nothing yet")
    said = Client(router, *STRANGERS[who]).run("Disk1", "get note.txt /share/stolen")
    assert NO_LOGIN in said
    assert stolen.read_bytes() == b"nothing yet"


def test_a_guest_is_kept_out(router, samba):
    stolen = local_file("stolen", b"nothing yet")
    said = Client(router, "").run("Disk1", "get note.txt /share/stolen")
    assert NO_ENTRY in said
    assert stolen.read_bytes() == b"nothing yet"


@pytest.mark.parametrize("name", NAMES)
def test_a_name_goes_through_unchanged(router, samba, name):
    content = name.encode() + bytes(range(256)) * 100
    local_file("name", content)
    back = local_file("back")

    said = client_of(router, "mona").run("Movies", f'put /share/name "{name}"', "ls", f'get "{name}" /share/back')

    assert name in said
    assert back.read_bytes() == content
    file = router.path("/tmp/mnt/Disk1/Movies") / name
    assert file.read_bytes() == content

    client_of(router, "mona").run("Movies", f'del "{name}"')
    assert not file.exists()


def test_the_routers_name_is_found_in_the_lan(router, samba):
    def answer():
        return router.client("lan", "nmblookup", "-B", "192.168.1.255", "NALVEX", check=False).stdout

    assert "192.168.1.1 NALVEX<00>" in wait_until(lambda: "<00>" in answer() and answer(), "the name is known")


def check_that_it_serves(router, oldest, newest):
    """A client that speaks these dialects does what its user may do, and no more."""
    file = new_file(router.path("/tmp/mnt/Disk1/Movies"), "dialect.txt", b"the first")
    local_file("dialect", b"written")

    reader = client_of(router, "rolf", oldest=oldest, newest=newest)
    said = reader.run("Disk1", r"put /share/dialect Movies\dialect.txt")
    assert NO_CHANGE in said
    assert file.read_bytes() == b"the first"

    client_of(router, "mona", oldest=oldest, newest=newest).run("Movies", "put /share/dialect dialect.txt")
    assert file.read_bytes() == b"written"


def check_that_it_refuses(router, only):
    """A client that speaks this dialect alone does not even come to say who it is."""
    stolen = local_file("stolen", b"nothing yet")
    said = client_of(router, "mona", oldest=only, newest=only).run("Movies", "get note.txt /share/stolen")
    assert "protocol negotiation failed" in said
    assert stolen.read_bytes() == b"nothing yet"


@pytest.mark.parametrize(("oldest", "newest"), [("NT1", "SMB3"), ("SMB2", "SMB3"), ("SMB2", "SMB2")])
def test_clients_of_today_are_served(router, samba, oldest, newest):
    check_that_it_serves(router, oldest, newest)


# The second dialect is the newest that the router offers.
@pytest.mark.parametrize("only", ["NT1", "SMB3"])
def test_other_dialects_are_refused(router, samba, only):
    check_that_it_refuses(router, only)


@pytest.fixture(scope="module")
def other_settings(router, samba):
    router.switch_on("samba", smb1="on", recycle="off")
    wait_until_served(router)


@pytest.mark.parametrize(("oldest", "newest"), [("NT1", "NT1"), ("SMB2", "SMB3")])
def test_the_oldest_dialect_is_spoken_besides_when_switched_on(router, other_settings, oldest, newest):
    check_that_it_serves(router, oldest, newest)


def test_without_a_recycle_bin_deleted_is_deleted(router, other_settings):
    new_file(router.path("/tmp/mnt/Disk2/Docs"), "draft.txt", b"of no worth")

    client_of(router, "anna").run("Disk2", r"del Docs\draft.txt")

    assert list(router.path("/tmp/mnt/Disk2").rglob("draft.txt")) == []


def test_the_oldest_dialect_is_spoken_alone(router, other_settings):
    router.switch_on("samba", smb2="off")
    wait_until_served(router, oldest="NT1", newest="NT1")

    check_that_it_serves(router, "NT1", "NT1")
    check_that_it_refuses(router, "SMB2")


def test_killed_it_is_started_again(router, samba):
    router.kill("smbd", "nmbd")

    router.nasctl("service", "start", "samba")

    assert router.runs("nmbd")
    wait_until_served(router)
    fetched = local_file("fetched")
    client_of(router, "rolf").run("Disk2", "get note.txt /share/fetched")
    assert fetched.read_bytes() == b"Disk2/note.txt"


def test_switched_off_it_is_closed_and_the_user_is_told(router, samba):
    started = router.events()[-1]

    router.switch_off("samba")

    assert "NT_STATUS_CONNECTION_REFUSED" in client_of(router, "anna").run("Disk1", "ls")
    assert not router.runs("smbd") and not router.runs("nmbd")
    stopped = router.events()[-1]
    assert (started["id"], stopped["id"]) == ("@{106}", "@{107}")
    assert started["detail"] == stopped["detail"] == "@{102}"
