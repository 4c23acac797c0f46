"""What the FTP scenarios do: as a client in the LAN, and on the router's disks."""

import ftplib
import io

from conftest import PATIENCE, wait_until

ADDRESS = "192.168.1.1"


def connect(router, name, password, network="lan", address=ADDRESS, encoding="utf-8"):
    with router.network(network):
        client = ftplib.FTP(timeout=PATIENCE, encoding=encoding)
        wait_until(lambda: connects(client, address), "the FTP port is open")
    try:
        client.login(name, password)
    except ftplib.Error:
        client.close()
        raise
    return client


def connects(client, address):
    try:
        client.connect(address)
    except (ConnectionError, EOFError):  # nobody listens yet, or the daemon is just being ended
        return False
    return True


class Client:
    """A user's connection."""

    def __init__(self, router, name, password, network="lan", **options):
        self.network = lambda: router.network(network)
        self.ftp = connect(router, name, password, network, **options)

    def list(self, place):
        with self.network():
            return {name for name, _ in self.ftp.mlsd(place)} - {".", ".."}

    def get(self, path):
        content = io.BytesIO()
        with self.network():
            self.ftp.retrbinary(f"RETR {path}", content.write)
        return content.getvalue()

    def put(self, path, content):
        with self.network():
            self.ftp.storbinary(f"STOR {path}", io.BytesIO(content))

    def delete(self, path):
        self.ftp.delete(path)


def file_on_disk(router, path):
    return router.path(f"/tmp/mnt{path}")


def put_on_disk(router, path, content):
    file = file_on_disk(router, path)
    file.write_bytes(content)
    file.chmod(0o666)
    return file
