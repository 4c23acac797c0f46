"""The registration servers of the cloud services, run by one program on the internet."""

import contextlib
import json
import subprocess

from conftest import PATIENCE, ROOT, wait_until, whole_lines

SERVER = ROOT / "router" / "registration-server"


class RegistrationServer:
    def __init__(self, output):
        self.output = output

    def requests(self):
        return [json.loads(line) for line in whole_lines(self.output)]

    def wait_for(self, count):
        return wait_until(lambda: len(found := self.requests()) >= count and found, f"{count} requests have come")


@contextlib.contextmanager
def registration_server(router, folder, *options):
    output, messages = folder / "requests", folder / "messages"
    with output.open("w") as out, messages.open("w") as err, router.network("inet"):
        server = subprocess.Popen([SERVER, *options], stdin=subprocess.DEVNULL, stdout=out, stderr=err)
    try:
        wait_until(lambda: "listening" in messages.read_text(), "the registration server listens")
        yield RegistrationServer(output)
    finally:
        server.terminate()
        server.wait(PATIENCE)
