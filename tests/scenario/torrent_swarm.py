"""A swarm in the LAN: a tracker, and a seeder with the whole file."""

import contextlib
import http.server
import socket
import threading
import urllib.parse

from conftest import STATE, wait_until

LAN = "192.168.1.10"
TRACKER_PORT = 6969
SEEDER_PORT = 51500
SHARE = STATE / "share"


def bencoded(value):
    if isinstance(value, dict):
        return b"d" + b"".join(bencoded(key) + bencoded(value[key]) for key in sorted(value)) + b"e"
    if isinstance(value, int):
        return b"i%de" % value
    return b"%d:%b" % (len(value), value)


class Tracker(http.server.BaseHTTPRequestHandler):
    """Tells everybody of everybody."""

    peers = set()
    turn = threading.Lock()  # requests come side by side

    def do_GET(self):  # pylint: disable=invalid-name # the server's own word
        query = urllib.parse.parse_qs(urllib.parse.urlsplit(self.path).query, encoding="latin-1")
        with self.turn:
            self.peers.add((self.client_address[0], int(query["port"][0])))
            peers = list(self.peers)
        compact = b"".join(socket.inet_aton(host) + port.to_bytes(2, "big") for host, port in peers)
        body = bencoded({b"interval": 5, b"min interval": 1, b"peers": compact})
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def tracker(router):
    Tracker.peers = set()
    with router.network("lan"):
        server = http.server.ThreadingHTTPServer((LAN, TRACKER_PORT), Tracker)
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    try:
        yield
    finally:
        server.shutdown()
        thread.join()
        server.server_close()


@contextlib.contextmanager
def seeder(router, name, content):
    """Offers the file in the swarm; yields its torrent's content."""
    folder = SHARE / "seed"
    folder.mkdir(exist_ok=True)
    (folder / name).write_bytes(content)
    announce = f"http://{LAN}:{TRACKER_PORT}/announce"
    router.client("lan", "transmission-create", "-t", announce, "-o", "/share/seed.torrent", f"/share/seed/{name}")
    torrent = (SHARE / "seed.torrent").read_bytes()
    options = "-g /share/seeder -w /share/seed -p 9999 -a *.*.*.* -T -M -O -x /tmp/seeder.pid".split()
    router.client("lan", "transmission-daemon", *options, "-P", SEEDER_PORT)
    try:
        wait_until(lambda: remote(router, LAN, 9999, "-l").returncode == 0, "the seeder runs")
        remote(router, LAN, 9999, "-a", "/share/seed.torrent", check=True)
        yield torrent
    finally:
        router.client("lan", "sh", "-c", 'kill "$(cat /tmp/seeder.pid)"')


def remote(router, host, port, *arguments, user=None, check=False):
    """transmission-remote, from the LAN."""
    login = ["-n", user] if user else []
    return router.client("lan", "transmission-remote", f"{host}:{port}", *login, *arguments, check=check)
