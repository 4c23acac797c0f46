"""What reading the mount table costs."""

from programs import total
from table import Row

MIXES = {"volumes": "1,000 volumes", "one_in_ten": "100 volumes in 1,000 lines"}
QUESTIONS = {"get_mount_list": 0.33, "get_num_of_mountdev": None, "get_mtab_info": None, "get_mount_devpath": None}


def instruction_rows(programs):
    runs = [("mount_instructions", mix, question) for mix in MIXES for question in ["getmntent", *QUESTIONS]]
    counts = {run[1:]: total(profile) for run, profile in programs.count_all(runs).items()}
    for mix, title in MIXES.items():
        plain = counts[mix, "getmntent"]
        for question, bar in QUESTIONS.items():
            own = counts[mix, question]
            yield Row(f"{question}, {title}: instructions of a getmntent loop", own / plain, bar, "x",
                      f"{own:,} of {plain:,}")


def statfs_rows(programs):
    calls = programs.run("statfs_calls")
    for question in ("get_num_of_mountdev", "get_mtab_info", "get_mount_devpath"):
        yield Row(f"{question}: statfs calls", calls[question], 0)
    yield Row("get_fs_available_size: statfs calls", calls["get_fs_available_size"], 1)
    yield Row("get_mount_list, 1,000 volumes: statfs calls", calls["get_mount_list"], calls["volumes"])


def rows(programs):
    return [*instruction_rows(programs), *statfs_rows(programs)]
