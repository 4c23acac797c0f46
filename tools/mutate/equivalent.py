"""The list of changes that nobody outside the library can notice. An entry has four lines and an empty one behind it:

    at: FILE FUNCTION
    line: the whole line of the source, without its indentation
    change: as the tool shows it
    why: one line"""

NAMES = ("at", "line", "change", "why")


class BadList(Exception):
    pass


def read_list(path):
    """The reason for each key of a mutant."""
    reasons = {}
    for block in path.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        entry = dict(line.partition(": ")[::2] for line in lines)
        if tuple(entry) != NAMES or not all(entry.values()):
            raise BadList(f"{path}: an entry is not of the form {', '.join(NAMES)}:\n{block}")
        file, _, function = entry["at"].partition(" ")
        key = (file, function, entry["line"], entry["change"])
        if key in reasons:
            raise BadList(f"{path}: twice:\n{block}")
        reasons[key] = entry["why"]
    return reasons


def without_match(reasons, names, mutants):
    """The entries whose file is no part of the library, or is one of the mutants' and has no such mutant."""
    tried, keys = {mutant.file for mutant in mutants}, {mutant.key() for mutant in mutants}
    return [key for key in reasons if key[0] not in names or key[0] in tried and key not in keys]


def show(key):
    file, function, line, change = key
    return f"at: {file} {function}\nline: {line}\nchange: {change}\n"
