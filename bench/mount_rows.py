"""What reading the mount table costs."""

from programs import total
from table import Row, against

MIXES = {"volumes": "1,000 volumes", "one_in_ten": "100 volumes in 1,000 lines"}
QUESTIONS = {
    "list": "get_mount_list",
    "count": "get_num_of_mountdev",
    "find_device": "get_mtab_info",
    "find_mount_point": "get_mount_devpath",
}
READERS = ("library", "getmntent", "libmount")
LIST_BAR = 0.33


def instruction_rows(programs):
    runs = [("mount_instructions", mix, "lines", "getmntent") for mix in MIXES]
    runs += [("mount_instructions", mix, question, reader)
             for mix in MIXES for question in QUESTIONS for reader in READERS]
    counts = {run[1:]: total(profile) for run, profile in programs.count_all(runs).items()}
    for mix, title in MIXES.items():
        own, plain = counts[mix, "list", "library"], counts[mix, "lines", "getmntent"]
        yield Row(f"get_mount_list, {title}: instructions of a getmntent loop", own / plain, LIST_BAR, "x",
                  f"{own:,} of {plain:,}")
        for question, function in QUESTIONS.items():
            own = counts[mix, question, "library"]
            for peer in READERS[1:]:
                yield against(peer, f"{function}, {title}", own, counts[mix, question, peer])


def statfs_rows(programs):
    calls = programs.run("statfs_calls")
    for question in ("get_num_of_mountdev", "get_mtab_info", "get_mount_devpath"):
        yield Row(f"{question}: statfs calls", calls[question], 0)
    yield Row("get_fs_available_size: statfs calls", calls["get_fs_available_size"], 1)
    yield Row("get_mount_list, 1,000 volumes: statfs calls", calls["get_mount_list"], calls["volumes"])


def rows(programs):
    return [*instruction_rows(programs), *statfs_rows(programs)]
