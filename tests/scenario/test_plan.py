"""What `nasctl plan` shows is what the next run does: both are compared, act by act and file by file.

The real run is traced_run.c: the installed library's callback with the installed host and the real daemons, each act
noted as it leaves the library.
"""

import json
import re
import subprocess

import pytest

from conftest import ROOT, STATE, image_maker, plugger, wait_until

CALLBACKS = {"url": "lighttpd_callback"}  # the others are named like their services
RECORDS = {
    "ftp": {"ftp_conf": "{on},2121,9000,UTF-8,0"},
    "samba": {"samba_conf": "{on},NAS,HOME,0,1,0,1"},
    "url": {"url_conf": "{on},8000,1"},
    "rsync": {"rsync_conf": "{on},873,Disk1", "rsync_folder": "Backup/New"},
    "nalvexcloud": {"nalvexcloud_conf": "{on},7755,Disk1", "nalvexcloud_folder": "Sync"},
    "torrent": {"torrent_conf": "{on},0,0,0,9091", "torrent_hddname": "Disk1", "torrent_folder": "Torrents"},
    "media": {"media_conf": "{on},Living room,", "media_hddname": "Disk1", "media_folder": "Films/New"},
    "entware": {"entware_run": "{on}", "entware_hddname": "Disk1", "entware_folder": "Packages"},
}
# Switched off and not running; on; on and running already; and what the modes make of it.
RUNS = [(0, None), (1, None), (1, None), (1, "forced"), (1, "nomount"), (0, "forced"), (0, None)]
USERS_OF = ("ftp", "samba", "url", "rsync", "nalvexcloud", "torrent")
REGISTERING = ("rsync", "nalvexcloud")
ANSWERED = ("pidof", "mkdir", "rm", "ln", "cp", "chmod")  # a plan knows how these end
WRITTEN_ANY_TIME = re.compile(r" /etc/nas/|/(MediaDB|\.session)(/|$)")
# What daemons and account commands write: a plan does not run them.
DAEMONS_OWN = re.compile(r"\.stock$|^/etc/(passwd|shadow|group|samba/smbpasswd)")


@pytest.fixture(scope="module")
def world(router, tmp_path_factory):
    """A disk with what the services want, a user for each, and nobody else who runs services."""
    make = image_maker(router, tmp_path_factory.mktemp("plan"))
    with plugger(router) as plug:
        plug(make("ext4", "Disk1", {"Films/a.mp4": b"film", "Packages/opt/bin/opkg": b"#!/bin/sh\n"}), "sda")
        router.execute("killall", "-STOP", "serviced")
        wait_until(lambda: not router.runs("nas-worker"), "no worker runs")
        for service in USERS_OF:
            router.nasctl("user", "add", "--service", service, "anna", "--password", "pass-anna", "--no-apply")
        program = STATE / "share" / "traced_run"
        subprocess.run(
            ["cc", "-Wall", "-Werror", "-rdynamic", "-o", program, ROOT / "tests/scenario/traced_run.c", "-ldl"],
            check=True,
        )
        yield router
        for service in RECORDS:
            store(router, service, 0)
            really_run(router, service, "nomount")
        router.execute("killall", "lighttpd_kelsto", check=False)
        for service in USERS_OF:
            router.remove_users(service)
        router.execute("killall", "-CONT", "serviced")


def store(router, service, on):
    router.all_of_nasctl(
        ["config", "set", key, value.format(on=on)] for key, value in RECORDS[service].items()
    )


def really_run(router, service, mode):
    callback = CALLBACKS.get(service, f"{service}_callback")
    router.execute("/share/traced_run", "/share/trace", callback, mode or "", "url", check=False)
    lines = (STATE / "share" / "trace").read_text().splitlines()
    return lines[:-1], int(lines[-1].removeprefix("result "))


def line_of(act):
    """A plan's act in the words of the trace."""
    end = f" -> {act['status']}" if "status" in act else " -> failed" if act.get("failed") else ""
    return f"{act['act']} {act['text']}{end}"


def comparable(lines):
    """Without what no plan can know: how often a daemon that ends is looked at (and whether it takes the file with its
    pid along), how a command ends that was not run, and the random part of a registration."""
    result = []
    killed = set()
    skipped_wait = False
    for line in lines:
        if line.startswith(("stdout ", "stderr ", "list ")) or re.match(r"kill \d+ 0", line):
            continue
        look = re.fullmatch(r"run /bin/pidof (\S+) -> (\d)", line)
        if look and look[1] in killed:
            skipped_wait = look[2] == "0"
            continue
        if skipped_wait and line == "sleep 1":
            continue
        skipped_wait = False
        kill = re.match(r"run \S*killall (?:-9 )?(\S+)", line)
        if kill:
            killed.add(kill[1])
        program = re.match(r"run (?:\S*/)?([^ /]+)", line)
        if program and program[1] not in ANSWERED:
            line = re.sub(r" -> \d+$", "", line)
        started = re.match(r"run /(?:usr/)?sbin/(\S+)", line)
        if started:
            killed.discard(started[1])
        result.append(re.sub(r"value=[^\"]*", "value=", line))
    return result


def patched(text, diff):
    """The text after the unified diff."""
    old = text.splitlines(keepends=True)
    new, at, last = [], 0, " "
    for line in diff.splitlines(keepends=True):
        hunk = re.match(r"@@ -(\d+)(?:,(\d+))? ", line)
        if hunk:
            begin = int(hunk[1]) - (0 if hunk[2] == "0" else 1)
            new += old[at:begin]
            at = begin
        elif line.startswith("\\"):
            if last != "-":
                new[-1] = new[-1].rstrip("\n")
        elif line.startswith("+"):
            new.append(line[1:])
        else:
            assert old[at].rstrip("\n") == line[1:].rstrip("\n")
            if line.startswith(" "):
                new.append(old[at])
            at += 1
        last = line[0]
    return "".join(new + old[at:])


def content(router, path, reader="cat"):
    """A file's text, a link's target, or None for nothing."""
    script = 'if [ -L "$1" ]; then readlink "$1"; elif [ -d "$1" ]; then echo folder; else "$2" "$1"; fi'
    done = router.execute("sh", "-c", script, "sh", path, reader, check=False)
    return done.stdout if done.returncode == 0 else None


def listing(router):
    """Every path of the places that services write to, with its rights and its time of change, but for the stores (to
    ask them stirs the files beside them) and what daemons write on the disk whenever they like."""
    script = """
        find /etc /tmp/webroot /tmp/cur/ -xdev -exec stat -c '%a %F %Y %Z %s %n' {} +
        find /tmp/mnt/Disk1 -xdev ! -type d -exec stat -c '%a %F %Y %Z %s %n' {} +
        find /tmp/mnt/Disk1 -xdev -type d -exec stat -c '%a %F %n' {} +
    """
    lines = router.execute("sh", "-c", f"({script}) 2>/dev/null", check=False).stdout.splitlines()
    return {line[line.index(" /") + 1 :]: line for line in lines if not WRITTEN_ANY_TIME.search(line)}


def changed_paths(before, after):
    """Files and links that came, went or were written where only the library and its commands write."""
    paths = {path for path in before.keys() | after.keys() if before.get(path) != after.get(path)}
    return {
        path
        for path in paths
        if path.startswith(("/etc/", "/tmp/webroot/"))
        and "directory" not in after.get(path, before.get(path))
        and not DAEMONS_OWN.search(path)
    }


def expected_contents(router, plan):
    """What is to be at each path, and how that is read."""
    expected = {}
    for file in plan["files"]:
        path = file["path"]
        if file["change"] == "removed":
            expected[path] = (None, "cat")
        elif "diff" in file:
            expected[path] = (patched(content(router, path) or "", file["diff"]), "cat")
        elif file["change"] == "written alike":
            expected[path] = (content(router, path, "md5sum"), "md5sum")
        elif file["kind"] == "link":
            expected[path] = (file["target"] + "\n", "cat")
        elif file["kind"] == "folder":
            expected[path] = ("folder\n", "cat")
    return expected


def check_run(router, service, on, mode):
    what = f"{service}, {'on' if on else 'off'}, mode {mode}"
    store(router, service, on)
    before = listing(router)
    plan = router.nasctl_json("plan", service, "--secrets", *(["--mode", mode] if mode else []))
    assert listing(router) == before, f"{what}: the plan has changed something"
    expected = expected_contents(router, plan)

    lines, result = really_run(router, service, mode)

    assert comparable(map(line_of, plan["acts"])) == comparable(lines), what
    assert plan["result"] == result, what
    for path, (text, reader) in expected.items():
        assert content(router, path, reader) == text, f"{what}: {path}"
    assert changed_paths(before, listing(router)) <= {file["path"] for file in plan["files"]}, what
    return plan


@pytest.mark.parametrize("service", RECORDS)
def test_a_plan_is_what_the_run_does(world, service):
    started = 0
    for on, mode in RUNS + [(1, "register")] * (service in REGISTERING):
        plan = check_run(world, service, on, mode)
        started += any("@{106}" in act["text"] for act in plan["acts"])
    assert started > 0 or service == "entware", "nothing was ever started"


def test_every_service_is_compared(world):
    assert list(RECORDS) == [service["name"] for service in world.nasctl_json("service", "list")]


def test_passwords_are_not_shown(world):
    for service in ("ftp", "samba", "url", "rsync", "torrent"):
        store(world, service, 1)
        shown = world.nasctl("plan", service).stdout
        assert "IN THIS ORDER" in shown
        assert "pass-anna" not in shown, service
        assert "pass-anna" not in world.nasctl("--json", "plan", service).stdout, service
        store(world, service, 0)
    assert "pass-anna" in world.nasctl("plan", "samba", "--mode", "forced", "--secrets").stdout


def test_a_plan_ends_nobody_and_starts_nobody(world):
    store(world, "ftp", 1)
    really_run(world, "ftp", None)
    daemons = world.processes("proftpd")
    hostname = world.execute("hostname").stdout
    rules = world.execute("iptables", "-t", "nat", "-S").stdout
    stores = world.nasctl("--json", "config", "list").stdout

    world.nasctl("plan", "ftp")
    world.nasctl("plan", "ftp", "--mode", "nomount")
    world.nasctl("plan", "media", "--mode", "forced")

    assert world.processes("proftpd") == daemons != set()
    assert not world.runs("minidlna")
    assert world.execute("hostname").stdout == hostname
    assert world.execute("iptables", "-t", "nat", "-S").stdout == rules
    assert json.loads(world.nasctl("--json", "config", "list").stdout) == json.loads(stores)


def test_without_root_it_says_so(world):
    nobody = ("/usr/bin/setpriv", "--reuid", "nobody", "--clear-groups")
    refused = world.execute(*nobody, "nasctl", "plan", "ftp", check=False)

    assert refused.returncode == 1
    assert "needs root" in refused.stderr
