"""How long it takes from the plug until every service answers."""

import time

import pytest

from all_services import ANSWERS, NOTE
from conftest import wait_until
from disks import forget_events, run_all_services, told_events, switch_records
from library_clock import library_clock

pytestmark = pytest.mark.usefixtures("no_disk_stays")

RECORDS = {
    "ftp_conf": "1,21,9000,UTF-8,0,1",
    "samba_conf": "1,ROUTER,HOME,0,0,1,1",
    "media_conf": "1,Films,",
    "media_hddname": "Disk1",
    "media_folder": "Movies",
}
STARTED = {"@{98}", "@{102}", "@{100}"}  # the three, in what the user is told
PROBES = {"FTP": "ftp", "Samba": "samba", "media server": "media"}


@pytest.fixture
def services(router):
    """All of them are on; what they offer is on a disk that is not there yet."""
    for service in ("ftp", "samba"):
        router.add_users(service, [("anna", "pass-anna", "rw", "")])
    switch_records(router, RECORDS)
    run_all_services(router)
    yield
    for service in ("ftp", "samba"):
        router.remove_users(service)
    switch_records(router, {key: "0" + RECORDS[key][1:] for key in ("ftp_conf", "samba_conf", "media_conf")})
    run_all_services(router)


def started(router):
    return {event["detail"] for event in told_events(router) if event["id"] == "@{106}"}


def test_from_the_plug_to_every_service(router, services, make_image, record_property):
    image = make_image("ext4", "Disk1", {"note.txt": NOTE, "Movies/": None})
    answered = {}
    forget_events(router)
    with library_clock(router) as clock:
        begin = time.monotonic()
        router.plug(image, "sda")
        mounted = time.monotonic() - begin
        for name, service in PROBES.items():
            answers = ANSWERS[service]
            wait_until(lambda answers=answers: answers(router), f"{name} answers")
            answered[name] = time.monotonic() - begin
        end = time.monotonic()
        wait_until(lambda: started(router) == STARTED, "the user is told of every service")
        slept = clock.slept(begin, end)
    router.unplug("sda")

    total = end - begin
    services = ", ".join(f"{name} {seconds:.1f} s" for name, seconds in answered.items())
    record_property(
        "measured",
        f"plug to all services answering: {total:.1f} s = {slept:.1f} s of the library's own sleeps"
        f" + {total - slept:.1f} s (mounted after {mounted:.1f} s; {services})",
    )
    assert slept > 0, "Samba's start always sleeps: the clock has seen nothing"
    assert total - slept < 30  # a few on a machine with nothing else to do
