"""What the Samba scenarios do as a client in the LAN."""

from conftest import STATE

ADDRESS = "192.168.1.1"
SHARED = STATE / "share"  # /share for the clients


class Client:
    """A user at a PC of the LAN, which speaks the dialects from `oldest` to `newest`. Without a name it is a guest."""

    def __init__(self, router, name, password="", oldest="NT1", newest="SMB3"):
        self.router = router
        self.options = [f"--option=client min protocol={oldest}", "-m", newest]
        self.options += ["-U", f"{name}%{password}"] if name else ["-N"]

    def run(self, share, *commands):
        """Runs commands of smbclient; what they print, also when they are refused."""
        client = self.router.client(
            "lan", "smbclient", f"//{ADDRESS}/{share}", *self.options, "-c", ";".join(commands), check=False
        )
        return client.stdout + client.stderr

    def shares(self):
        """The names of the disk shares that are shown."""
        listing = self.router.client("lan", "smbclient", "-g", "-L", ADDRESS, *self.options, check=False).stdout
        rows = [line.split("|") for line in listing.splitlines()]
        return {row[1] for row in rows if row[0] == "Disk"}
