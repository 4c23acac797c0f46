"""Just enough of telnet to log in and run a command."""

import socket
import time

from conftest import PATIENCE

IAC, DONT, DO, WONT, WILL, SB, SE = 255, 254, 253, 252, 251, 250, 240


class Telnet:
    def __init__(self, router, network, address):
        with router.network(network):
            self.socket = socket.create_connection((address, 23), timeout=PATIENCE)
        self.shown = b""

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
            self.shown += self.without_commands(received)
        before, _, self.shown = self.shown.partition(text)
        return before

    def without_commands(self, received):
        """Every offer is turned down."""
        text, at = b"", 0
        while at < len(received):
            if received[at] != IAC:
                text += received[at : at + 1]
                at += 1
            elif received[at + 1] in (DO, WILL):
                self.socket.send(bytes([IAC, WONT if received[at + 1] == DO else DONT, received[at + 2]]))
                at += 3
            elif received[at + 1] == SB:
                at = received.index(SE, at) + 1
            else:
                at += 3
        return text

    def enter(self, line):
        self.socket.send(line + b"\r\n")

    def log_in(self, user, password):
        self.wait_for(b"login: ")
        self.enter(user)
        self.wait_for(b"assword: ")
        self.enter(password)
