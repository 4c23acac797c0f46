"""The LED of the USB port, around and through the hours in which it shall be dark."""

import calendar

import pytest

from library_clock import library_clock

pytestmark = pytest.mark.usefixtures("no_disk_stays")

DARK_AT_NIGHT = "led_mode = schedule\nled_dark_from = 22\nled_dark_until = 7\n"


@pytest.fixture
def clock(router):
    with library_clock(router) as clock:
        yield clock


def led(router):
    return {"0": "dark", "1": "lit"}[router.read("/var/run/nas/led/1").strip()]


def led_of_a_new_disk(router, image):
    """What the LED shows while a disk is in, and that it is dark behind it."""
    router.plug(image, "sda")
    router.settle()
    shown = led(router)
    router.unplug("sda")
    assert led(router) == "dark"
    router.settle()
    return shown


def test_a_night(router, make_image, clock, add_settings):
    image = make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M")
    add_settings(DARK_AT_NIGHT)
    shown = {}
    for day, hour, minute in ((1, 21, 59), (1, 22, 0), (2, 0, 30), (2, 6, 59), (2, 7, 0)):
        clock.set(calendar.timegm((2024, 5, day, hour, minute, 0)))
        shown[f"{hour:02}:{minute:02}"] = led_of_a_new_disk(router, image)
    assert shown == {"21:59": "lit", "22:00": "dark", "00:30": "dark", "06:59": "dark", "07:00": "lit"}


def test_dark_hours_begin_and_end_for_the_next_disk_alone(router, make_image, clock, add_settings):
    """Nothing looks at the clock while a disk stays: its LED is as it was when it came."""
    first = make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M")
    second = make_image("ext4", "Disk2", {"note.txt": b"hello"}, size="4M")
    add_settings(DARK_AT_NIGHT)
    clock.set(calendar.timegm((2024, 5, 1, 21, 59, 0)))
    router.plug(first, "sda")
    router.settle()
    clock.set(calendar.timegm((2024, 5, 1, 22, 0, 0)))
    router.settle()
    evening = led(router)
    router.plug(second, "sdb")
    router.settle()
    night = led(router)
    router.unplug("sdb")
    router.settle()
    clock.set(calendar.timegm((2024, 5, 2, 7, 0, 0)))
    router.settle()
    early = led(router)
    router.plug(second, "sdb")
    router.settle()
    morning = led(router)
    for disk in ("sdb", "sda"):
        router.unplug(disk)
        router.settle()
    assert (evening, night, early, morning, led(router)) == ("lit", "dark", "dark", "lit", "dark")


@pytest.mark.parametrize(("setting", "expected"), [("on", "lit"), ("off", "dark")])
def test_without_a_schedule(router, make_image, add_settings, setting, expected):
    add_settings(f"led_mode = {setting}\n")
    image = make_image("ext4", "Disk1", {"note.txt": b"hello"}, size="4M")
    assert led_of_a_new_disk(router, image) == expected
