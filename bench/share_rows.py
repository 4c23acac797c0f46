"""What a run of FTP and of Samba costs, with few folders and with many."""

from programs import calls_between, total
from table import Row, against

SERVICES = {"ftp": "FTP", "samba": "Samba"}
FIXED_HEAP, HEAP_PER_FOLDER = 48 * 1024, 64
STORE_READS = {"ftp": 31, "samba": 11}
INSTRUCTIONS = {"ftp": 2, "samba": None}
FOLDERS = (10, 1000)


def store_rows(programs):
    reads = programs.run("share_store_reads")
    for service, title in SERVICES.items():
        for folders in FOLDERS:
            yield Row(f"{title} run, 2 x {folders:,} folders, 5 users: store reads", reads[service][str(folders)],
                      STORE_READS[service])


def own_instructions(profile):
    """Without what the recording host does instead of the operations that the library asks for."""
    return total(profile) - calls_between(profile, "libnas.so", "share_instructions")


def instruction_rows(programs):
    profiles = programs.count_all([("share_instructions", name) for name in ("scandir", "ctemplate", *SERVICES)])
    plain, template = (total(profiles["share_instructions", name]) for name in ("scandir", "ctemplate"))
    run = {service: own_instructions(profiles["share_instructions", service]) for service in SERVICES}
    for service, title in SERVICES.items():
        own = run[service]
        yield Row(f"{title} run, 2 x 1,000 folders: instructions of scandir + strcoll", own / plain,
                  INSTRUCTIONS[service], "x", f"{own:,} of {plain:,}")
    yield against("ctemplate", "FTP run, 2 x 1,000 folders", run["ftp"], template)


def heap_rows(programs):
    runs = programs.run("share_heap")
    for service, title in SERVICES.items():
        for folders in FOLDERS:
            run = runs[service][str(folders)]
            yield Row(f"{title} run, 2 x {folders:,} folders: peak of the heap", run["peak"],
                      FIXED_HEAP + run["text"] + HEAP_PER_FOLDER * folders, "bytes", f"text {run['text']:,}")


def rows(programs):
    return [*store_rows(programs), *instruction_rows(programs), *heap_rows(programs)]
