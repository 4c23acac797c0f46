"""How long it takes from `vr up`, with a disk plugged in at once, until every service answers."""

import os
import shutil
import time

import pytest

import all_services
from conftest import ROOT, wait_until
from library_clock import PRELOAD, built_clock

OPKG = (ROOT / "router" / "world" / "internet" / "packages" / "entware" / "opkg").read_bytes()


@pytest.fixture
def image(make_image):
    """A disk that every service knows; the package environment has been installed on it."""
    return make_image("ext4", "Disk1", all_services.FILES | {"Packages/opt/bin/opkg": OPKG}, size="192M")


@pytest.fixture
def stage(router, tmp_path):
    """The programs, with the records and accounts of a router whose services are all on."""
    all_services.set_up(router)
    router.all_of_nasctl(["service", "enable", service, "--no-apply"] for service in all_services.SERVICES)
    stage = tmp_path / "stage"
    shutil.copytree(os.environ["STAGE"], stage, symlinks=True)
    shutil.copytree(router.path("/etc/nas"), stage / "etc" / "nas")
    for accounts in ("passwd", "shadow", "group"):
        shutil.copy(router.path(f"/etc/{accounts}"), stage / "etc")
    return stage


@pytest.fixture
def rebooted(router):
    """Whatever becomes of the router, the next test has one that has just been brought up."""
    router.vr("down")
    yield
    router.vr("down")
    router.vr("up", "--stage", os.environ["STAGE"])


def test_from_up_to_every_service(router, image, stage, rebooted, record_property):
    with built_clock() as clock:
        (stage / "etc" / "ld.so.preload").write_text(PRELOAD)
        begin = time.monotonic()
        router.vr("up", "--stage", stage)
        up = time.monotonic() - begin
        router.plug(image, "sda")
        # They are started in this order: behind the last one no other is started any more.
        for name in reversed(all_services.SERVICES):
            answers = all_services.ANSWERS[name]
            wait_until(lambda answers=answers: answers(router), f"{name} answers")
        end = time.monotonic()
        router.settle()
        slept = clock.slept(begin, end)
        router.vr("down")

    total = end - begin
    record_property("beyond_sleeps", f"{total - slept:.2f}")
    record_property(
        "measured",
        f"up to all services answering: {total:.1f} s = {slept:.1f} s of the library's own sleeps"
        f" + {total - slept:.1f} s (up after {up:.1f} s)",
    )
    assert slept > 0, "Samba's start always sleeps: the clock has seen nothing"
    assert total - slept < 30  # a few on a machine with nothing else to do
