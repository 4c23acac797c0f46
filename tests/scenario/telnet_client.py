"""Just enough of telnet to log in and run a command."""

import contextlib
import re
import socket
import time

from conftest import PATIENCE, wait_until

IAC, DONT, DO, WONT, WILL = b"\xff", b"\xfe", b"\xfd", b"\xfc", b"\xfb"
TEXT_OR_COMMAND = re.compile(
    rb"(?P<text>[^\xff]+)|\xff(?:(?P<offer>[\xfd\xfb])(?P<option>.)|[\xfe\xfc].|\xfa.*?\xff\xf0)", re.DOTALL
)


class Telnet:
    def __init__(self, router, network, address):
        self.socket = wait_until(lambda: self.connected(router, network, address), "the telnet port is open")
        self.received = b""
        self.shown = b""

    @staticmethod
    def connected(router, network, address):
        """Nothing as long as nobody listens."""
        with router.network(network), contextlib.suppress(ConnectionRefusedError):
            return socket.create_connection((address, 23), timeout=PATIENCE)
        return None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def wait_for(self, text):
        """Reads until the text is shown; what was shown before it is forgotten."""
        end = time.monotonic() + PATIENCE
        while text not in self.shown:
            if time.monotonic() > end:
                raise AssertionError(f"{text} is not shown, but {self.shown}")
            received = self.socket.recv(4096)
            if not received:
                raise AssertionError(f"the connection ended: {self.shown}")
            self.received += received
            self.shown += self.take_text()
        before, _, self.shown = self.shown.partition(text)
        return before

    def take_text(self):
        """What was received, without the commands between. Every offer is turned down; a command that is not whole yet
        stays for the next time."""
        text = b""
        while found := TEXT_OR_COMMAND.match(self.received):
            self.received = self.received[found.end() :]
            text += found["text"] or b""
            if found["offer"]:
                answer = WONT if found["offer"] == DO else DONT
                self.socket.send(IAC + answer + found["option"])
        return text

    def enter(self, line):
        self.socket.send(line + b"\r\n")

    def log_in(self, user, password):
        self.wait_for(b"login: ")
        self.enter(user)
        self.wait_for(b"assword: ")
        self.enter(password)
