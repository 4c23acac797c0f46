"""The eight services with one disk: how they are set up, and whether each answers a client in the LAN."""

import ftplib
import io
import socket
import urllib.request

import ftp_client
import samba_client
import web_client
from telnet_client import Telnet

ROUTER = "192.168.1.1"
SERVICES = ["ftp", "samba", "url", "rsync", "nalvexcloud", "torrent", "media", "entware"]
WITH_USERS = ["ftp", "samba", "rsync", "nalvexcloud", "torrent"]
NOTE = b"hello"
FILES = {  # of Disk1
    "note.txt": NOTE,
    "Movies/note.txt": NOTE,
    "Backup/": None,
    "Sync/": None,
    # Or the daemon looks for an upstream gateway first, and answers nobody for eight seconds.
    "Torrents/.session/settings.json": b'{"port-forwarding-enabled": false}\n',
}
SETTINGS = {
    "rsync": ["port=1873", "disk=Disk1", "folder=Backup"],
    "nalvexcloud": ["port=2873", "disk=Disk1", "folder=Sync"],
    "torrent": ["port=9091", "disk=Disk1", "folder=Torrents"],
    "media": ["name=Films", "disk=Disk1", "folder=Movies"],
    "entware": ["disk=Disk1", "folder=Packages"],
}


def set_up(router):
    """Anna may use all of them, and they know their places on the disk, which may come later. None is switched on."""
    for service in WITH_USERS:
        router.add_users(service, [("anna", "pass-anna", "rw", "")])
    for service, settings in SETTINGS.items():
        router.nasctl("service", "set", service, *settings, "--force", "--no-apply")


def leave(router):
    router.all_of_nasctl(["service", "disable", service] for service in SERVICES)
    for service in WITH_USERS:
        router.remove_users(service)


def ftp_answers(router):
    """Nobody listens yet, or the server that was there is just being ended."""
    try:
        with router.network("lan"), ftplib.FTP(ftp_client.ADDRESS, "anna", "pass-anna", timeout=5) as client:
            content = io.BytesIO()
            client.retrbinary("RETR /Disk1/note.txt", content.write)
    except ftplib.all_errors:
        return False
    return content.getvalue() == NOTE


def samba_answers(router):
    client = samba_client.Client(router, "anna", "pass-anna")
    return "getting file" in client.run("Disk1", "get note.txt /dev/null")


def cloud_answers(port):
    def answers(router):
        try:
            with router.network("lan"), socket.create_connection((ROUTER, port), timeout=5) as client:
                return client.recv(64).startswith(b"@RSYNCD:")
        except OSError:
            return False

    return answers


def torrent_answers(router):
    """It wants a login."""
    try:
        return web_client.fetch(router, "/transmission/rpc", port=9091)[0] == 401
    except OSError:
        return False


def media_answers(router):
    try:
        with router.network("lan"):
            page = urllib.request.urlopen(f"http://{ROUTER}:8200/rootDesc.xml", timeout=5)
    except OSError:
        return False
    with page:
        return b"MediaServer" in page.read()


def entware_answers(router):
    try:
        with Telnet(router, "lan", ROUTER) as telnet:
            telnet.wait_for(b"login: ")
    except (OSError, AssertionError):
        return False
    return True


ANSWERS = {
    "ftp": ftp_answers,
    "samba": samba_answers,
    "url": web_client.answers,
    "rsync": cloud_answers(1873),
    "nalvexcloud": cloud_answers(2873),
    "torrent": torrent_answers,
    "media": media_answers,
    "entware": entware_answers,
}
