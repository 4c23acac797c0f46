"""What the scenarios see of disks that come and go."""

from conftest import wait_until

LOG = "/var/log/nas-serviced"


def mounts(router):
    lines = [line.split() for line in router.read("/proc/mounts").splitlines()]
    return {words[0]: words[1] for words in lines if words[0].startswith("/dev/sd")}


def folders(router):
    return router.execute("ls", "/tmp/mnt").stdout.split()


def modules(router):
    """What the library had the kernel load, by what the adapters of insmod and rmmod remember."""
    return router.execute("cat", "/tmp/modules", check=False).stdout.split()


def handled_events(router):
    """The kernel's events, as its handler wrote them down: ["add sda", "add sda1" ...]."""
    lines = [line.split() for line in router.read(LOG).splitlines()]
    events = [words for words in lines if len(words) == 3 and words[0].startswith("hotplug[") and "/block/" in words[2]]
    return [f"{words[1]} {words[2].split('/')[-1]}" for words in events]


def forget_events(router):
    """From now on there are only new ones. (Their log begins anew now and then: places in it mean nothing.)"""
    router.execute("sh", "-c", "rm -f /var/log/nas-events /var/log/nas-events.1")


def told_events(router):
    return router.nasctl_json("events", "--last", 100000)


def event_ids(router):
    return [event["id"] for event in told_events(router)]


def serviced(router):
    return router.execute("/bin/pidof", "serviced", check=False).stdout.split()


def switch_records(router, records):
    """Stores the services' records, as a web interface does that asks serviced for nothing."""
    for key, value in records.items():
        router.nasctl("config", "set", key, value)


def run_all_services(router):
    """Ends serviced: the next one begins with every service."""
    note = "/var/run/nas/serviced.lock"
    before = router.read(note)
    wait_until(lambda: router.execute("killall", "serviced", check=False).returncode == 0, "serviced is told to end")
    wait_until(lambda: router.read(note) != before, "another one is there")
    router.settle()
