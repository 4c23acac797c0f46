"""confine.py JOB: runs programs one after the other, until one fails, where they can reach nothing.

A changed library may open any path and build any command. So the programs see a root of their own that holds /usr and
the few folders that they need, all of it for reading only, an empty /tmp of bounded size, no network, no process but
their own and no device but null, zero, full and random. Root in there is nobody on the machine, or the user who called.
Processes, processor time, the size of files, the time until an answer and, if the job says so, memory are bounded.

JOB is a JSON file: "see" (folders), "environment", "programs" (a list of "command", "processor_seconds", "seconds"),
"memory" (bytes of address space, or UNBOUNDED), "root" (an empty folder). Their output is this program's. Exit
status: 0 when all ended with 0, else one of those below.
"""

import ctypes
import json
import os
import resource
import signal
import sys

FAILED, TIMED_OUT, NOT_CONFINED = 10, 11, 12
NO_NAMESPACES = 77  # what the tests end with when they find none

UNBOUNDED = resource.RLIM_INFINITY
PROCESSES = 512
FILE_SIZE = 64 << 20
NOBODY = 65534

NEW_MOUNTS, NEW_NAMES, NEW_IPC, NEW_USERS, NEW_PROCESSES, NEW_NETWORK = (
    0x20000, 0x4000000, 0x8000000, 0x10000000, 0x20000000, 0x40000000)
READ_ONLY, NO_SUID, NO_DEVICES, REMOUNT, BIND, RECURSIVE, PRIVATE = 1, 2, 4, 32, 4096, 16384, 1 << 18
DETACH = 2
SET_DUMPABLE, SET_DEATH_SIGNAL, NO_NEW_PRIVILEGES = 4, 1, 38
PIVOT_ROOT = {"x86_64": 155, "aarch64": 41}

libc = ctypes.CDLL(None, use_errno=True)


def check(result, what):
    if result != 0:
        error = ctypes.get_errno()
        raise OSError(error, os.strerror(error), what)


def mount(source, target, kind, flags, options=None):
    encoded = [text.encode() if text is not None else None for text in (source, target, kind)]
    check(libc.mount(*encoded, flags, options.encode() if options else None), f"mount {target}")


def enter_user_namespace(flags, user, group):
    check(libc.unshare(NEW_USERS | flags), "unshare")
    for name, text in (("setgroups", "deny"), ("uid_map", f"0 {user} 1"), ("gid_map", f"0 {group} 1")):
        with open(f"/proc/self/{name}", "w", encoding="ascii") as file:
            file.write(text)


def show(root, path):
    """The same folder at the same path, for reading."""
    os.makedirs(root + path, exist_ok=True)
    mount(path, root + path, None, BIND | RECURSIVE)
    mount(None, root + path, None, BIND | REMOUNT | READ_ONLY | NO_SUID | NO_DEVICES)


def make_root(root, see):
    mount("none", "/", None, RECURSIVE | PRIVATE)
    mount("mutate", root, "tmpfs", NO_SUID | NO_DEVICES, "size=1m,mode=0755")
    for name in ("etc", "var", "mnt", "sys", "proc", "dev", "tmp"):
        os.makedirs(f"{root}/{name}", exist_ok=True)
    mount("mutate", f"{root}/tmp", "tmpfs", NO_SUID | NO_DEVICES, "size=64m,mode=1777")
    for path in ["/usr", *see]:
        show(root, path)
    for name in ("/bin", "/sbin", "/lib", "/lib32", "/lib64", "/libx32"):
        if os.path.islink(name):
            os.symlink(os.readlink(name), root + name)
        elif os.path.isdir(name):
            show(root, name)
    for name in ("null", "zero", "full", "random", "urandom"):
        with open(f"{root}/dev/{name}", "w", encoding="ascii"):
            mount(f"/dev/{name}", f"{root}/dev/{name}", None, BIND)
    mount("proc", f"{root}/proc", "proc", NO_SUID | NO_DEVICES)  # a user may, as long as another one is in sight
    os.chdir(root)
    check(libc.syscall(PIVOT_ROOT[os.uname().machine], b".", b"."), "pivot_root")
    check(libc.umount2(b".", DETACH), "umount")
    os.chdir("/")
    mount(None, "/", None, BIND | REMOUNT | READ_ONLY | NO_SUID | NO_DEVICES)


def confirm_read_only():
    """Nothing that was there before is still open for writing."""
    with open("/proc/self/mountinfo", encoding="utf-8") as table:
        for line in table:
            fields = line.split()
            kind = fields[fields.index("-") + 1]
            if not (kind in ("proc", "devtmpfs") or fields[4] == "/tmp" or fields[4].startswith("/dev/")
                    or "ro" in fields[5].split(",")):
                raise OSError(0, "may be written to", fields[4])


def become_first_process():
    """Of the new namespace. The outer one waits and ends as it does."""
    child = os.fork()
    if child != 0:
        _, status = os.waitpid(child, 0)
        os._exit(os.WEXITSTATUS(status) if os.WIFEXITED(status) else NOT_CONFINED)


def confine(job):
    flags = NEW_MOUNTS | NEW_NAMES | NEW_IPC | NEW_PROCESSES | NEW_NETWORK
    root = os.geteuid() == 0
    if root:
        check(libc.unshare(flags), "unshare")
    else:
        enter_user_namespace(flags, os.geteuid(), os.getegid())
    become_first_process()
    make_root(job["root"], job["see"])
    confirm_read_only()
    if root:
        os.setgroups([])
        os.setresgid(NOBODY, NOBODY, NOBODY)
        os.setresuid(NOBODY, NOBODY, NOBODY)
        check(libc.prctl(SET_DUMPABLE, 1, 0, 0, 0), "prctl")  # its own maps are root's otherwise
        enter_user_namespace(0, NOBODY, NOBODY)
    check(libc.prctl(SET_DEATH_SIGNAL, signal.SIGKILL, 0, 0, 0), "prctl")
    check(libc.prctl(NO_NEW_PRIVILEGES, 1, 0, 0, 0), "prctl")


def limit(memory, processor_seconds):
    for what, value in ((resource.RLIMIT_AS, memory), (resource.RLIMIT_FSIZE, FILE_SIZE), (resource.RLIMIT_CORE, 0),
                        (resource.RLIMIT_NPROC, PROCESSES)):
        resource.setrlimit(what, (value, value))
    resource.setrlimit(resource.RLIMIT_CPU, (processor_seconds, processor_seconds + 2))


def run(program, job):
    """Its exit status; 128 and more for a signal."""
    child = os.fork()
    if child == 0:
        limit(job["memory"], program["processor_seconds"])
        os.execve(program["command"][0], program["command"], job["environment"])
    # As the first process of its namespace this one takes every other process with it.
    signal.signal(signal.SIGALRM, lambda *_: os._exit(TIMED_OUT))
    signal.alarm(program["seconds"])
    while True:
        ended, status = os.wait()
        if ended == child:
            signal.alarm(0)
            return os.WEXITSTATUS(status) if os.WIFEXITED(status) else 128 + os.WTERMSIG(status)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        job = json.load(file)
    try:
        confine(job)
    except OSError as error:
        print(f"mutate: cannot confine the tests: {error}", flush=True)
        os._exit(NOT_CONFINED)
    for program in job["programs"]:
        status = run(program, job)
        if status == NO_NAMESPACES:
            os._exit(NOT_CONFINED)
        if status in (128 + signal.SIGXCPU, 128 + signal.SIGKILL):
            os._exit(TIMED_OUT)
        if status != 0:
            os._exit(FAILED)
    os._exit(0)


if __name__ == "__main__":
    main()
