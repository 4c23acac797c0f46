"""What listing the USB disks costs."""

from programs import total
from table import against


def rows(programs):
    profiles = programs.count_all([("usb_instructions", "library"), ("usb_instructions", "libudev")])
    own, other = (total(profiles["usb_instructions", who]) for who in ("library", "libudev"))
    # The library finds a disk's name with `find | grep`; libudev starts nothing.
    all_of_it = own + sum(programs.count_commands("usb_instructions", "library").values())
    yield against("libudev", "get_usbdev_list, 2 disks, with its commands", all_of_it, other)
    yield against("libudev", "get_usbdev_list, 2 disks, without its commands", own, other)
