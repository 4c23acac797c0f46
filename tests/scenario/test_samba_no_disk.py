"""What Windows clients find on a router without a disk."""

from conftest import wait_until
from samba_client import SHARED, Client


def test_a_guest_is_told_that_there_is_no_disk(router):
    guest = Client(router, "")
    told, other = SHARED / "told", SHARED / "other"
    told.write_bytes(b"")
    other.write_bytes(b"written")

    router.switch_on("samba", name="NALVEX", recycle="off", smb1="off", smb2="on")
    try:
        assert wait_until(guest.shares, "shares are shown") == {"README"}
        said = guest.run("README", "get README.txt /share/told", "put /share/other README.txt", "put /share/other new")
    finally:
        router.switch_off("samba")

    assert told.read_bytes() == b"No_HardDisk"
    assert said.count("NT_STATUS_ACCESS_DENIED opening remote file") == 2
    assert router.read("/var/run/readme/README.txt") == "No_HardDisk"
    assert router.execute("ls", "/var/run/readme").stdout == "README.txt\n"
