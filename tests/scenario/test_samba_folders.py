"""Samba users who may enter one folder each: unusual names, and the last of very many."""

import pytest

from conftest import image_maker, plugger, wait_until
from samba_client import SHARED, Client

# Users who may enter this one folder.
FOLDERS = {
    "hana": "한글 Größe; #1 & more",
    "dolo": "$(reboot) it's 100%",
    "last": "folder 200",
}

# The same. The daemon puts the user's name in the place of %U, so that everybody is shown a share of another name.
PERCENT = "100%U"

# The daemon reads a share's name up to the bracket.
BRACKETS = "[Alt] {neu}"

# The daemon would read it as its own settings: no share can bear the name.
SPECIAL = "glob als"

# Folders of nobody's own.
OTHER_FOLDERS = ["folder 001", BRACKETS, SPECIAL]


@pytest.fixture(scope="module")
def many_folders(router, tmp_path_factory):
    names = {f"folder {number:03}" for number in range(1, 201)} | {*FOLDERS.values(), *OTHER_FOLDERS, PERCENT}
    users = [(name, f"pass-{name}", "rw", f"Many:{folder}") for name, folder in FOLDERS.items()]
    make = image_maker(router, tmp_path_factory.mktemp("many"))
    with plugger(router) as plug:
        plug(make("ext4", "Many", {f"{name}/note.txt": name.encode() for name in names}), "sda")
        router.add_users("samba", users)
        router.add_users("samba", [("wide", "pass-wide", "rw", "Many"), ("perc", "pass-perc", "rw", f"Many:{PERCENT}")])
        router.switch_on("samba", name="NALVEX", recycle="off", smb1="off", smb2="on")
        wait_until(lambda: client_of(router, "last").shares(), "shares are shown")
        yield
        router.leave("samba")


def client_of(router, user):
    return Client(router, user, f"pass-{user}")


def transfer(router, client, share, folder, path=""):
    """Fetches the folder's note, puts a file there; whether the note is right and the file is there."""
    fetched = SHARED / "fetched"
    fetched.write_bytes(b"")
    (SHARED / "new").write_bytes(b"written")
    said = client.run(share, f'get "{path}note.txt" /share/fetched', f'put /share/new "{path}new.txt"')
    new = router.path(f"/tmp/mnt/Many/{folder}/new.txt")
    outcome = fetched.read_bytes() == folder.encode(), new.exists() and new.read_bytes() == b"written"
    new.unlink(missing_ok=True)
    return outcome, said


@pytest.mark.parametrize("user", FOLDERS)
def test_the_own_folder_is_shown_and_open(router, many_folders, user):
    client = client_of(router, user)
    assert client.shares() - {f"100{user}"} == {FOLDERS[user]}
    assert transfer(router, client, FOLDERS[user], FOLDERS[user])[0] == (True, True)


@pytest.mark.parametrize("user", FOLDERS)
def test_no_other_folder_is_open(router, many_folders, user):
    for share in {"Many", "folder 001", *FOLDERS.values()} - {FOLDERS[user]}:
        outcome, said = transfer(router, client_of(router, user), share, share)
        assert "tree connect failed: NT_STATUS_ACCESS_DENIED" in said
        assert outcome == (False, False)


@pytest.mark.parametrize("folder", ["folder 001", "folder 200", FOLDERS["hana"], FOLDERS["dolo"]])
def test_every_share_is_open_to_the_user_of_the_disk(router, many_folders, folder):
    assert transfer(router, client_of(router, "wide"), folder, folder)[0] == (True, True)


@pytest.mark.parametrize("folder", ["folder 200", *OTHER_FOLDERS])
def test_every_folder_is_open_in_the_share_of_the_disk(router, many_folders, folder):
    assert transfer(router, client_of(router, "wide"), "Many", folder, f"{folder}/")[0] == (True, True)


def test_a_name_with_a_bracket_is_a_share_up_to_it(router, many_folders):
    assert transfer(router, client_of(router, "wide"), "[Alt", BRACKETS)[0] == (True, True)


def test_what_no_share_can_be_named_after_is_none(router, many_folders):
    assert "NT_STATUS_BAD_NETWORK_NAME" in client_of(router, "wide").run(SPECIAL, "ls")


@pytest.mark.xfail(strict=True, raises=AssertionError, reason="the daemon puts the user's name in the place of %U")
def test_a_folder_named_like_a_variable_is_open(router, many_folders):
    assert transfer(router, client_of(router, "perc"), PERCENT, PERCENT)[0] == (True, True)
