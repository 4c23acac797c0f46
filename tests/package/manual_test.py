#!/usr/bin/env python3
"""manual_test.py MAN_FOLDER VERSION_SCRIPT MANDOC: every exported name has a page of the manual that says what it is
and does, no page is about anything else, all are well formed, and what they refer to exists."""

import re
import subprocess
import sys
from pathlib import Path

SHORTEST_DESCRIPTION = 25  # characters: "Returns 0." says nothing


def exported(version_script):
    text = re.sub(r"/\*.*?\*/", "", version_script.read_text(encoding="utf-8"), flags=re.DOTALL)
    return set(re.findall(r"(\w+);", text.split("global:")[1].split("local:")[0]))


def alias_target(path):
    match = re.fullmatch(r"\.so (\S+)\n", path.read_text(encoding="utf-8"))
    return match.group(1) if match else None


def plain(roff):
    return re.sub(r"\\f[BIR]|\\&", "", roff).replace("\\-", "-")


def described(page):
    """The names that stand above a text in the section about functions."""
    functions = re.search(r"^\.SH FUNCTIONS\n(.*?)(?=^\.SH |\Z)", page, re.DOTALL | re.MULTILINE)
    parts = re.split(r"^\.SS (.*)\n", functions.group(1) if functions else "", flags=re.MULTILINE)
    return {name: re.sub(r"^\.\w+.*$", "", text, flags=re.MULTILINE).strip()
            for names, text in zip(parts[1::2], parts[2::2]) for name in names.split(", ")}


def check_function(folder, name):
    path = folder / "man3" / f"{name}.3"
    target = alias_target(path) if path.exists() else None
    if target is None or not (folder / target).exists():
        yield f"{name}: no page of the manual"
        return
    page = plain((folder / target).read_text(encoding="utf-8"))
    synopsis = page.split(".SH SYNOPSIS")[1].split(".SH ")[0]
    if not re.search(rf"\b{name}[(\[]", synopsis):
        yield f"{name}: {target} does not declare it"
    if len(described(page).get(name, "")) < SHORTEST_DESCRIPTION:
        yield f"{name}: {target} does not say what it does"


def check_page(folder, path, mandoc):
    lint = subprocess.run([mandoc, "-T", "lint", "-W", "style", path], capture_output=True, text=True)
    yield from lint.stdout.splitlines()
    see_also = plain(path.read_text(encoding="utf-8")).split(".SH SEE ALSO\n")[-1]
    for name, section in re.findall(r"^\.BR (\S+) \((\d)\)", see_also, re.MULTILINE):
        if not (folder / f"man{section}" / f"{name}.{section}").exists():
            yield f"{path.name}: there is no {name}({section})"


def main(folder, version_script, mandoc):
    folder, names = Path(folder), exported(Path(version_script))
    pages = [path for path in sorted(folder.glob("man*/*")) if alias_target(path) is None]
    aliases = {path.stem for path in folder.glob("man3/*") if alias_target(path) is not None}
    complaints = [f"{name}: has a page, but is not exported" for name in sorted(aliases - names)]
    complaints += [line for name in sorted(names) for line in check_function(folder, name)]
    complaints += [line for page in pages for line in check_page(folder, page, mandoc)]
    if not names or not pages:
        complaints.append("there is nothing to check")
    print(*complaints, sep="\n")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
