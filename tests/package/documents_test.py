#!/usr/bin/env python3
"""documents_test.py SOURCE: links of the documents lead somewhere, the tests that they name exist, lines are short."""

import re
import sys
from pathlib import Path

# Where tests are named: in every item of a list that is said to do so.
NAMING = ["SECURITY.md"]
NAMING_LIST = re.compile(r"each\swith its tests:\n\n((?:(?:- |  ).*\n)+)")
TEST_NAME = re.compile(r"`([A-Z]\w+\.[A-Z]\w+|tests/[^`]+)`")
MEASURED = re.compile(r"<!-- results: begin -->.*?<!-- results: end -->", re.DOTALL)  # a program writes it
LONGEST_LINE = 120
TEST_OF_CPP = re.compile(r"^TEST(?:_F|_P)?\((\w+), (\w+)\)", re.MULTILINE)


def documents(source):
    return [path for path in sorted(source.rglob("*.md")) if "build" not in path.relative_to(source).parts]


def dead_links(source, path):
    text = re.sub(r"^```.*?^```", "", path.read_text(encoding="utf-8"), flags=re.DOTALL | re.MULTILINE)
    for target in re.findall(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)", text):
        if not (path.parent / target).exists():
            yield f"{path.relative_to(source)}: there is no {target}"


def long_lines(source, path):
    text = MEASURED.sub("", path.read_text(encoding="utf-8"))
    for line in text.splitlines():
        if len(line) > LONGEST_LINE:
            yield f"{path.relative_to(source)}: {len(line)} columns: {line[:60]}..."


def tests_in(source):
    return {f"{suite}.{name}" for path in (source / "tests").rglob("*.cpp")
            for suite, name in TEST_OF_CPP.findall(path.read_text(encoding="utf-8"))}


def exists(source, known, name):
    path, _, function = name.partition("::")
    if not path.startswith("tests/"):
        return name in known
    if not function:
        return (source / path).exists()
    file = source / path
    return file.exists() and re.search(rf"^def {function}\(", file.read_text(encoding="utf-8"), re.MULTILINE)


def unknown_tests(source, known, path):
    text = path.read_text(encoding="utf-8")
    named = TEST_NAME.findall(text)
    yield from (f"{path.name}: there is no test {name}" for name in named if not exists(source, known, name))
    if not named:
        yield f"{path.name}: names no test"
    for items in NAMING_LIST.findall(text):
        yield from (f"{path.name}: no test in: {item.splitlines()[0]}"
                    for item in re.split(r"^- ", items, flags=re.MULTILINE)[1:] if not TEST_NAME.search(item))


def main(source):
    source = Path(source)
    known = tests_in(source)
    complaints = []
    for path in documents(source):
        complaints += [*dead_links(source, path), *long_lines(source, path)]
    complaints += [line for name in NAMING for line in unknown_tests(source, known, source / name)]
    print("\n".join(complaints), end="\n" if complaints else "")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
