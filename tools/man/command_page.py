#!/usr/bin/env python3
"""command_page.py VERSION OUT DOCUMENT NASCTL: nasctl(1), from what nasctl itself says (`nasctl reference`) and a
section of a document."""

import subprocess
import sys
from collections import namedtuple
from pathlib import Path

import markdown_text
import roff

Entry = namedtuple("Entry", "path kind names usage description")


def reference(nasctl):
    text = subprocess.run([nasctl, "reference"], check=True, capture_output=True, text=True).stdout
    return [Entry(*line.split("\t")) for line in text.splitlines()]


def entries_of(entries, path, *kinds):
    return [entry for entry in entries if entry.path == path and entry.kind in kinds and "--help" not in entry.names]


def words(entry):
    return f"{entry.path} {entry.names}".strip()


def add_options(page, entries, path):
    for option in entries_of(entries, path, "option", "flag"):
        _, _, value = option.usage.strip("[]").partition(" ")
        names = ", ".join(option.names.split(","))
        page.add(".TP", f"{roff.bold(names)} {roff.italic(value)}" if value else roff.bold(names))
        page.add(roff.inline(option.description) or "\\&")


def add_command(page, entries, command):
    """A command that does something by itself: how it is typed, what it does, its options."""
    path = words(command)
    usages = [entry.usage for entry in entries_of(entries, path, "option", "flag", "argument")]
    page.paragraph()
    page.add(roff.filled(roff.bold("nasctl " + path) + "".join(" " + roff.escape(text) for text in usages)),
             ".RS 4", roff.inline(command.description))
    add_options(page, entries, path)
    page.add(".RE")


def add_commands(page, entries):
    for top in entries_of(entries, "", "command"):
        page.subheading(top.names)
        below = entries_of(entries, top.names, "command")
        if not below:
            add_command(page, entries, top)
            continue
        page.paragraphs([top.description])
        add_options(page, entries, top.names)
        for command in below:
            add_command(page, entries, command)


def main(version, out, document, nasctl):
    entries = reference(nasctl)
    page = roff.Page("nasctl", 1, version, ["nasctl"], "control the router's storage services")
    page.heading("SYNOPSIS")
    page.add(roff.bold("nasctl"), "[\\-\\-json] COMMAND ...")
    page.heading("DESCRIPTION")
    text = markdown_text.section(Path(document).read_text(encoding="utf-8"), "nasctl")
    page.add(*markdown_text.to_roff(text)[1:])
    page.heading("OPTIONS")
    add_options(page, entries, "")
    page.heading("COMMANDS")
    add_commands(page, entries)
    page.see_also([("nas-host.conf", 5), ("serviced", 8), ("nas-host", 7)])
    page.write(Path(out))


if __name__ == "__main__":
    main(*sys.argv[1:])
