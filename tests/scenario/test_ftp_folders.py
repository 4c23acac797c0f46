"""FTP users and folders: unusual names, and the last of very many."""

import ftplib

import pytest

from conftest import image_maker, plugger
from ftp_client import Client, file_on_disk

# Users who may enter this one folder.
FOLDERS = {
    "hana": "한글 Größe; #1 & more",
    "dolo": "$(reboot) it's 100%s",
    "bert": "[Alt] {neu}",
    "last": "folder 200",
}

# Folders of nobody's own. The daemon's file holds no section for the first two: it would read the second as the third.
OTHER_FOLDERS = ['so "named"', "folder\\ 001", "folder 001", "back\\slash"]


@pytest.fixture(scope="module")
def many_folders(router, tmp_path_factory):
    names = {f"folder {number:03}" for number in range(1, 201)} | {*FOLDERS.values(), *OTHER_FOLDERS}
    users = [(name, f"pass-{name}", "rw", f"Many:{folder}") for name, folder in FOLDERS.items()]
    make = image_maker(router, tmp_path_factory.mktemp("many"))
    with plugger(router) as plug:
        plug(make("ext4", "Many", {f"{name}/note.txt": name.encode() for name in names}), "sda")
        router.add_users("ftp", [*users, ("wide", "pass-wide", "rw", "Many")])
        router.switch_on("ftp", charset="UTF-8")
        yield
        router.leave("ftp")


def check_open(router, client, folder):
    assert client.get(f"/Many/{folder}/note.txt") == folder.encode()
    client.put(f"/Many/{folder}/new.txt", b"new")
    assert file_on_disk(router, f"/Many/{folder}/new.txt").read_bytes() == b"new"
    client.delete(f"/Many/{folder}/new.txt")
    assert not file_on_disk(router, f"/Many/{folder}/new.txt").exists()


def check_closed(router, client, folder):
    with pytest.raises(ftplib.error_perm, match="^550 "):
        client.get(f"/Many/{folder}/note.txt")
    with pytest.raises(ftplib.error_perm, match="^55[03] "):
        client.put(f"/Many/{folder}/new.txt", b"new")
    assert not file_on_disk(router, f"/Many/{folder}/new.txt").exists()
    with pytest.raises(ftplib.error_perm, match="^550 "):
        client.delete(f"/Many/{folder}/note.txt")
    assert file_on_disk(router, f"/Many/{folder}/note.txt").read_bytes() == folder.encode()


taken_for_a_pattern = pytest.mark.xfail(
    strict=True, raises=ftplib.error_perm, reason="the daemon takes a name with brackets for a pattern"
)


@pytest.mark.parametrize("user", ["hana", "dolo", pytest.param("bert", marks=taken_for_a_pattern), "last"])
def test_the_own_folder_is_open(router, many_folders, user):
    check_open(router, Client(router, user, f"pass-{user}"), FOLDERS[user])


@pytest.mark.parametrize("user", FOLDERS)
def test_no_other_folder_is_seen_or_open(router, many_folders, user):
    client = Client(router, user, f"pass-{user}")

    assert client.list("/Many") == {FOLDERS[user]}
    for folder in {*FOLDERS.values(), *OTHER_FOLDERS} - {FOLDERS[user]}:
        check_closed(router, client, folder)


def test_every_folder_is_open_to_the_user_of_the_disk(router, many_folders):
    client = Client(router, "wide", "pass-wide")

    assert len(client.list("/Many") & {f"folder {number:03}" for number in range(1, 201)}) == 200
    for folder in [*FOLDERS.values(), *OTHER_FOLDERS]:
        check_open(router, client, folder)
